#include "env/qvenv.h"
#include "env/qvmaf.h"
#include "support.h"

static qvmaf filter_of(int32_t n_order, int32_t n_item)
{
    qvmaf filter = dirty<qvmaf>();
    qvmaf_cfg cfg;
    qvmaf_config(&cfg, n_order, n_item);
    qvmaf_init(&filter, &cfg);
    return filter;
}

TEST(MovingAverage, MeanCoversOnlyTheWindow)
{
    qvmaf filter = filter_of(3, 1);
    const double expected[] = {1.0, 1.5, 2.0, 3.0};
    for (int k = 0; k < 4; ++k)
    {
        double value = k + 1;
        EXPECT_EQ(0, qvmaf_run(&filter, &value, &value)); // in place
        EXPECT_BITS(expected[k], value);
    }
}

TEST(MovingAverage, OlderHistoryStaysBehindTheWindow)
{
    qvmaf filter = filter_of(10, 2);
    for (int k = 1; k <= 45; ++k)
    {
        const double sample[2] = {static_cast<double>(k), 0.0};
        double mean[2];
        qvmaf_run(&filter, sample, mean);
    }
    EXPECT_EQ(10, qvmaf_get_n(&filter));
    EXPECT_BITS(6.0, qvmaf_get_buf(&filter, 39, 0));
    qvmaf_clear(&filter);
    EXPECT_BITS(0.0, qvmaf_get_buf(&filter, 9, 0));
    EXPECT_BITS(35.0, qvmaf_get_buf(&filter, 10, 0));
    const int outside[][2] = {{40, 0}, {-1, 0}, {0, 4}, {0, -1}};
    for (const auto &at : outside)
        EXPECT_TRUE(std::isnan(qvmaf_get_buf(&filter, at[0], at[1])));
}

TEST(MovingAverage, SumsFromNewestToOldest)
{
    // 1e16 + 1 + 1 depends on the order: oldest first, both ones are lost.
    qvmaf filter = filter_of(3, 1);
    double mean;
    for (const double sample : {1e16, 1.0, 1.0})
        qvmaf_run(&filter, &sample, &mean);
    EXPECT_BITS((1.0 + 1.0 + 1e16) / 3.0, mean);
}

TEST(MovingAverage, EmptyWindowHasNoMean)
{
    qvmaf filter = filter_of(5, 3);
    double out[4] = {7, 7, 7, 7};
    const captured_log log;
    EXPECT_EQ(-1, qvmaf_get_avg(&filter, out));
    EXPECT_EQ(-1, qvmaf_get_stdev(&filter, out));
    EXPECT_BITS(7.0, out[0]);
    EXPECT_EQ(std::vector<std::string>(2, "qvmaf_get_avg: [ERR] could not calculate average (n==0)"), log.lines);
}

TEST(MovingAverage, SizesAreLimitedToTheStorage)
{
    const struct
    {
        int32_t n_order, n_item, order, item;
    } cases[] = {{41, 5, 40, 4}, {INT32_MAX, INT32_MAX, 40, 4}, {-1, -1, 0, 0}, {INT32_MIN, 4, 0, 4}};
    for (const auto &c : cases)
    {
        qvmaf filter = dirty<qvmaf>();
        const qvmaf_cfg unchecked = {c.n_order, c.n_item};
        qvmaf_init(&filter, &unchecked);
        EXPECT_EQ(c.order, qvmaf_get_n_order(&filter));
        EXPECT_EQ(c.item, qvmaf_get_n_item(&filter));
        const double sample[4] = {1, 2, 3, 4};
        double mean[4];
        for (int k = 0; k < 50; ++k)
            qvmaf_run(&filter, sample, mean);
        EXPECT_EQ(c.order, qvmaf_get_n(&filter));
    }
}

class Environment : public testing::Test
{
protected:
    void SetUp() override
    {
        qvenv_get_default_cfg(&cfg);
    }

    void init()
    {
        qvenv_init(&state, &cfg);
    }

    qvenv_cfg cfg = dirty<qvenv_cfg>();
    qvenv_state state = {};
};

TEST_F(Environment, GyroscopeCountsWithItsSignAndStrictly)
{
    cfg.gyrthr = 0.5;
    init();
    const struct
    {
        double sample[3];
        uint32_t level;
    } cases[] = {{{0.6, -0.9, 0.5}, 1}, {{0.6, 0.6, 0.6}, 7}, {{std::nan(""), 0.0, 1.0}, 4}, {{-9, -9, -9}, 0}};
    for (const auto &c : cases)
    {
        qvenv_notify_data(&state, QVENV_TYPE_GYROSCOPE, c.sample, 0.0);
        EXPECT_EQ(c.level, qvenv_get_gyrlevel(&state));
        const double other[3] = {9, 9, 9};
        for (const int32_t type : {1, 2, 4, -3})
            qvenv_notify_data(&state, type, other, 0.0);
        EXPECT_EQ(c.level, qvenv_get_gyrlevel(&state));
    }
}

TEST_F(Environment, LevelCountsDownOnceTheFilterIsFull)
{
    init();
    const auto step = [this](double x)
    {
        qvenv_update_acclevel(&state);
        qvenv_filtering_acc(&state, {x, -x, 9.81 + x});
        return qvenv_get_acclevel(&state);
    };
    for (int k = 1; k <= 15; ++k)
        EXPECT_EQ(15, step(0.0)) << k;
    EXPECT_EQ(14, step(0.0));
    for (int k = 17; k <= 29; ++k)
        step(0.0);
    EXPECT_EQ(0, step(0.0)); // step 30
    step(5.0);
    EXPECT_EQ(60, step(0.0)); // one jolt stays in the window for 15 steps
    for (int k = 0; k < 14; ++k)
        EXPECT_EQ(60, step(0.0));
    EXPECT_EQ(59, step(0.0));
    const captured_log log;
    state.cfg.endbg = 1;
    state.acclevel = 1;
    step(0.0);
    EXPECT_EQ(1, log.count("qvenv_update_acclevel: [ACC STABLED] min_stdev = 0.000000"));
    state.acclevel = 7;
    qvenv_filtering_acc(&state, {std::nan(""), 0, 0});
    qvenv_update_acclevel(&state);
    EXPECT_EQ(60, qvenv_get_acclevel(&state)) << "what is not a number has moved";
}

TEST_F(Environment, BeforeTheFirstInitialisationNothingIsJudged)
{
    const captured_log log;
    state.cfg = cfg;
    qvenv_update_acclevel(&state);
    EXPECT_BITS(0.0, qvenv_filtering_acc(&state, {1, 2, 3}).x);
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(Environment, FiltersAverageTheirWindows)
{
    init();
    for (int k = 1; k <= 20; ++k)
    {
        const double v = k;
        const qvcrd_vec3 m = qvenv_filtering_mag(&state, {v, 0, -v});
        const qvcrd_quat q = qvenv_filtering_quat(&state, {v, 0, 0, -v});
        EXPECT_BITS(k <= 15 ? (v + 1) / 2 : v - 7, -m.z);
        EXPECT_NEAR(k <= 10 ? (v + 1) / 2 : v - 4.5, -q.z, 1e-12);
    }
}

TEST_F(Environment, OneQuietAxisIsSteady)
{
    init();
    for (int k = 0; k < 40; ++k)
    {
        qvenv_filtering_acc(&state, {k % 2 * 5.0, k % 3 * 5.0, 9.81});
        qvenv_update_acclevel(&state);
    }
    EXPECT_EQ(0, qvenv_get_acclevel(&state));
}

TEST_F(Environment, ThresholdZeroSwitchesTheLevelOff)
{
    cfg.accthr = 0.0;
    init();
    for (int k = 0; k < 40; ++k)
    {
        qvenv_update_acclevel(&state);
        qvenv_filtering_acc(&state, {0, 0, 9.81});
    }
    EXPECT_EQ(15, qvenv_get_acclevel(&state));
}

TEST_F(Environment, SoftIronMultipliesARowVector)
{
    cfg.simtx[0][1] = 2.0;
    cfg.simtx[2][0] = 5.0;
    init();
    const qvcrd_vec3 out = qvenv_compensate_softiron(&state, {1, 1, 10});
    EXPECT_BITS(51.0, out.x);
    EXPECT_BITS(3.0, out.y);
    EXPECT_BITS(10.0, out.z);
}

TEST_F(Environment, LevelsOutliveAnInitialisation)
{
    state.acclevel = 42;
    state.gyrlevel = 5;
    init();
    EXPECT_EQ(42, qvenv_get_acclevel(&state));
    EXPECT_EQ(5u, qvenv_get_gyrlevel(&state));
}
