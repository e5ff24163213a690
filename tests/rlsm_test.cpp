#include "rlsm/qvrlsm.h"
#include "support.h"

#include <limits>

static constexpr double INFINITE = std::numeric_limits<double>::infinity();

class SphereFit : public testing::Test
{
protected:
    void SetUp() override
    {
        qvrlsm_get_default_cfg(&cfg);
        init();
    }

    void init()
    {
        qvrlsm_bak bak = dirty<qvrlsm_bak>();
        qvrlsm_get_bak(&bak, &cfg);
        qvrlsm_init(&state, &cfg, &bak);
    }

    qvrlsm_cfg cfg = dirty<qvrlsm_cfg>();
    qvrlsm_state state = dirty<qvrlsm_state>();
};

TEST_F(SphereFit, BatchFindsCentreAndRadius)
{
    const qvcrd_vec3 samples[] = {{55, -20, 30}, {-35, -20, 30}, {10, 25, 30},
                                  {10, -65, 30}, {10, -20, 75},  {10, -20, -15}};
    ASSERT_EQ(0, qvrlsm_lsm(&state, samples, 6));
    EXPECT_NEAR(10.0, state.bak.x[0], 1e-9);
    EXPECT_NEAR(-20.0, state.bak.x[1], 1e-9);
    EXPECT_NEAR(30.0, state.bak.x[2], 1e-9);
    EXPECT_NEAR(625.0, state.bak.x[3], 1e-7);
}

TEST_F(SphereFit, BatchRefusesWhatItCannotSolve)
{
    std::vector<qvcrd_vec3> samples(41);
    for (int k = 0; k < 41; ++k)
        samples[static_cast<std::size_t>(k)] = on_sphere(k, {1, 2, 3}, 45.0);
    const std::vector<qvcrd_vec3> copies(5, {1, 2, 4});
    const std::string before = bytes_of(state);
    EXPECT_EQ(-1, qvrlsm_lsm(&state, samples.data(), 0));
    EXPECT_EQ(-1, qvrlsm_lsm(&state, samples.data(), INT32_MIN));
    EXPECT_EQ(-1, qvrlsm_lsm(&state, samples.data(), 41)); // once overran a storage of 25 samples in other fits
    EXPECT_EQ(-1, qvrlsm_lsm(&state, copies.data(), 5));   // one direction: the second pivot is exactly 0
    EXPECT_EQ(before, bytes_of(state));
    EXPECT_EQ(0, qvrlsm_lsm(&state, samples.data(), 40));
    EXPECT_NEAR(2.0, state.bak.x[1], 1e-9);
}

TEST_F(SphereFit, FirstStepFromFreshState)
{
    ASSERT_EQ(0, qvrlsm_update(&state, 10, 0, 0));
    EXPECT_BITS(0.0, state.bak.x[0]); // the innovation is exactly 0
    EXPECT_BITS(100.0, state.bak.x[3]);
    EXPECT_BITS(10.0, qvrlsm_get_radius(&state));
    // p33: (1 - K3) * (pcal0 pcal2 / w²) with K3 = p33 / s, in this order
    const double w2 = cfg.w * cfg.w, p33 = cfg.pcal0 * cfg.pcal2;
    const double p00 = cfg.pcal0 * cfg.pcal1, s = 20.0 * (p00 * 20.0) + p33 + w2 * cfg.rn;
    EXPECT_NEAR((1.0 - p33 * (1.0 / s)) * (p33 / w2), state.bak.p[3][3], 1e-6);
}

TEST_F(SphereFit, StepsAreExactToTheLastBit)
{
    for (const qvcrd_vec3 m : {qvcrd_vec3{10, 0, 0}, {13, -7, 5}, {-20, 31, 8}, {4, 17, -30}})
        ASSERT_EQ(0, qvrlsm_update(&state, m.x, m.y, m.z));
    const double expected[] = {-7.157605897388375, 9.429326068664354, -4.900278066037859, 537.0508573251661};
    for (int i = 0; i < 4; ++i)
        EXPECT_BITS(expected[i], state.bak.x[i]) << i;
    EXPECT_BITS(0.004451896166323297, state.bak.p[0][1]);
}

TEST_F(SphereFit, ConvergesOnANoiselessSphere)
{
    for (int k = 0; k < 400; ++k)
    {
        const qvcrd_vec3 m = on_sphere(k, {20, -10, 5}, 45.0);
        ASSERT_EQ(0, qvrlsm_update(&state, m.x, m.y, m.z));
    }
    EXPECT_NEAR(20.0, qvrlsm_get_offset(&state).x, 1e-3);
    EXPECT_NEAR(-10.0, qvrlsm_get_offset(&state).y, 1e-3);
    EXPECT_NEAR(5.0, qvrlsm_get_offset(&state).z, 1e-3);
    EXPECT_NEAR(45.0, qvrlsm_get_radius(&state), 1e-3);
    EXPECT_EQ(1, qvrlsm_get_stabled(&state));
    qvrlsm_set_runlevel(&state, QVRLSM_RUNLEVEL_ACCEPTED);
    qvrlsm_clear(&state);
    EXPECT_EQ(QVRLSM_RUNLEVEL_FRESH, qvrlsm_get_runlevel(&state));
    EXPECT_EQ(0, qvmaf_get_n(&state.routmaf));
}

TEST_F(SphereFit, RefusedStepsChangeNothing)
{
    ASSERT_EQ(0, qvrlsm_update(&state, 10, 20, 30));
    const struct
    {
        double w;
        qvcrd_vec3 m;
        const char *why;
    } cases[] = {
        {0.0, {10, 20, 30}, "no forgetting weight"},
        {(double)0.988f, {std::nan(""), 0, 0}, "a sample that is not a number"},
        {(double)0.988f, {INFINITE, 0, 0}, "an infinite sample makes inf - inf"},
        {std::nan(""), {10, 20, 30}, "a weight that is not a number"},
        {1e-200, {10, 20, 30}, "a weight whose square is 0: the covariance alone is no number"},
    };
    for (const auto &c : cases)
    {
        state.cfg.w = c.w;
        const std::string before = bytes_of(state);
        EXPECT_EQ(-1, qvrlsm_update(&state, c.m.x, c.m.y, c.m.z)) << c.why;
        EXPECT_EQ(before, bytes_of(state)) << c.why;
    }
}

TEST_F(SphereFit, StabilityNeedsAFullWindowWithLittleScatterInANarrowBand)
{
    const double nan = std::nan("");
    const struct
    {
        double last_radius, stdev;
        int32_t window, stable;
        const char *why;
    } cases[] = {
        {45.0, (double)0.3f, 10, 1, "ten identical results"},
        {45.95, (double)0.3f, 10, 0, "scatter 0.285 is below 0.3, the range 0.95 not below 0.9"},
        {45.75, 0.25, 10, 0, "a range exactly at the limit"},
        {45.0, 0.0, 10, 0, "a limit of 0"},
        {45.0, (double)0.3f, 11, 0, "a window that is not full"},
        {99.0, (double)0.3f, 1, 1, "a single row has no scatter"},
        {45.0, nan, 10, 0, "a limit that is not a number"},
        {nan, (double)0.3f, 10, 1, "a radius that is not a number, newest, never wins a comparison"},
        {nan, (double)0.3f, 1, 1, "nor is it looked at in a single row"},
    };
    for (const auto &c : cases)
    {
        cfg.stdev = c.stdev;
        cfg.routmafsize = c.window;
        init();
        for (int k = 0; k < 10; ++k)
        {
            state.bak.radius = k == 9 ? c.last_radius : 45.0;
            update_stabled_status(&state);
        }
        EXPECT_EQ(c.stable, qvrlsm_get_stabled(&state)) << c.why;
    }
    const captured_log log;
    cfg = {1, 1, 1, 1, 1, 1, 0.25, 2};
    init();
    EXPECT_EQ(0, update_stabled_status(&state));
    EXPECT_EQ(1, update_stabled_status(&state));
    EXPECT_EQ(1, log.count("update_stabled_status: routmaf is not full"));
    EXPECT_EQ(1, log.count("update_stabled_status: RLSM_STABLED[O] max_stdev(0.0<0.2) max_df(0.0<0.8)"));
}

TEST_F(SphereFit, WindowSizeOutsideTheFilterIsLimitedInTheCopy)
{
    const struct
    {
        int32_t configured, held;
    } cases[] = {{41, 40}, {INT32_MAX, 40}, {-1, 0}, {INT32_MIN, 0}};
    for (const auto &c : cases)
    {
        cfg.routmafsize = c.configured;
        init();
        EXPECT_EQ(c.held, state.cfg.routmafsize);
        EXPECT_EQ(c.configured, cfg.routmafsize);
        const captured_log log;
        for (int k = 0; k < 41; ++k)
            update_stabled_status(&state);
        EXPECT_EQ(c.held > 0, qvrlsm_get_stabled(&state));
        EXPECT_EQ(c.held > 0 ? 0 : 41, log.count("qvmaf_get_avg: [ERR]"));
    }
}
