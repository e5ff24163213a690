#include "rlsm/qvrlsm.h"
#include "support.h"

#include <limits>

struct SphereFit : testing::Test
{
    SphereFit()
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

TEST_F(SphereFit, BatchFindsCentreAndRadiusOrRefuses)
{
    qvcrd_vec3 samples[41], copies[5];
    for (int k = 0; k < 41; ++k)
        samples[k] = on_sphere(k, {1, 2, 3}, 45.0);
    std::fill_n(copies, 5, qvcrd_vec3{1, 2, 4});
    const std::string before = bytes_of(state);
    for (const int32_t count : {0, INT32_MIN, 41}) // 41 once overran a storage of 25 samples in other fits
        EXPECT_EQ(-1, qvrlsm_lsm(&state, samples, count));
    EXPECT_EQ(-1, qvrlsm_lsm(&state, copies, 5)); // one direction: the second pivot is exactly 0
    EXPECT_EQ(before, bytes_of(state));
    EXPECT_EQ(0, qvrlsm_lsm(&state, samples, 40));
    EXPECT_TRUE(near({1, 2, 3}, {state.bak.x[0], state.bak.x[1], state.bak.x[2]}, 1e-9));
    EXPECT_NEAR(45.0 * 45.0 - 14.0, state.bak.x[3], 1e-7);
}

TEST_F(SphereFit, ConvergesOnANoiselessSphere)
{
    for (int k = 0; k < 400; ++k)
    {
        const qvcrd_vec3 m = on_sphere(k, {20, -10, 5}, 45.0);
        ASSERT_EQ(0, qvrlsm_update(&state, m.x, m.y, m.z));
    }
    EXPECT_TRUE(near({20, -10, 5}, qvrlsm_get_offset(&state), 1e-3));
    EXPECT_NEAR(45.0, qvrlsm_get_radius(&state), 1e-3);
    EXPECT_EQ(1, qvrlsm_get_stabled(&state));
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
        {(double)0.988f, {std::numeric_limits<double>::infinity(), 0, 0}, "an infinite sample makes inf - inf"},
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
}

TEST_F(SphereFit, WindowSizeOutsideTheFilterIsLimitedInTheCopy)
{
    const std::pair<int32_t, int32_t> cases[] = {{41, 40}, {INT32_MAX, 40}, {-1, 0}, {INT32_MIN, 0}};
    for (const auto &[configured, held] : cases)
    {
        cfg.routmafsize = configured;
        init();
        EXPECT_EQ(held, state.cfg.routmafsize);
        EXPECT_EQ(configured, cfg.routmafsize);
        const captured_log log;
        for (int k = 0; k < 41; ++k)
            update_stabled_status(&state);
        EXPECT_EQ(held > 0, qvrlsm_get_stabled(&state));
        EXPECT_EQ(held > 0 ? 0 : 41, log.count("qvmaf_get_avg: [ERR]"));
    }
}
