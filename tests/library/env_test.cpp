#include "env/qvenv.h"
#include "math/qvmaf.h"
#include "support.h"

static qvmaf filter_of(int32_t n_order, int32_t n_item)
{
    qvmaf filter = dirty<qvmaf>();
    qvmaf_cfg cfg;
    qvmaf_config(&cfg, n_order, n_item);
    qvmaf_init(&filter, &cfg);
    return filter;
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

TEST(MovingAverage, EmptyWindowHasNoMean)
{
    qvmaf filter = filter_of(5, 1);
    double out = 7;
    const captured_log log;
    EXPECT_EQ(-2, qvmaf_get_avg(&filter, &out) + qvmaf_get_stdev(&filter, &out));
    EXPECT_BITS(7.0, out);
    EXPECT_EQ(std::vector<std::string>(2, "qvmaf_get_avg: [ERR] could not calculate average (n==0)"), log.lines);
}

TEST(MovingAverage, SizesAreLimitedToTheStorage)
{
    const struct
    {
        qvmaf_cfg unchecked;
        int32_t order, item;
    } cases[] = {{{41, 5}, 40, 4}, {{INT32_MAX, INT32_MAX}, 40, 4}, {{-1, -1}, 0, 0}, {{INT32_MIN, 4}, 0, 4}};
    for (const auto &c : cases)
    {
        qvmaf filter = dirty<qvmaf>();
        qvmaf_init(&filter, &c.unchecked);
        double sample[4] = {1, 2, 3, 4};
        for (int k = 0; k < 50; ++k)
            qvmaf_run(&filter, sample, sample);
        EXPECT_EQ(c.order, qvmaf_get_n_order(&filter));
        EXPECT_EQ(c.item, qvmaf_get_n_item(&filter));
        EXPECT_EQ(c.order, qvmaf_get_n(&filter));
    }
}

struct Environment : testing::Test
{
    Environment()
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
    const std::pair<qvcrd_vec3, uint32_t> cases[] = {
        {{0.6, -0.9, 0.5}, 1}, {{0.6, 0.6, 0.6}, 7}, {{std::nan(""), 0.0, 1.0}, 4}, {{-9, -9, -9}, 0}};
    for (const auto &[rates, level] : cases)
    {
        const double turning[3] = {rates.x, rates.y, rates.z}, other[3] = {9, 9, 9};
        qvenv_notify_data(&state, QV6D_SENSOR_GYROSCOPE, turning, 0.0);
        for (const int32_t type : {1, 2, 4, -3})
            qvenv_notify_data(&state, type, other, 0.0);
        init();
        EXPECT_EQ(level, qvenv_get_gyrlevel(&state)) << "of the last sample, and outlives an initialisation";
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
    for (int k = 1; k <= 30; ++k)
        EXPECT_EQ(k <= 15 ? 15 : 30 - k, step(0.0)) << k;
    step(5.0);
    for (int k = 0; k < 15; ++k)
        EXPECT_EQ(60, step(0.0)) << "one jolt stays in the window for 15 steps";
    EXPECT_EQ(59, step(0.0));
    state.acclevel = 1;
    EXPECT_EQ(0, step(std::nan("")));
    EXPECT_EQ(60, step(0.0)) << "what is not a number has moved";
    init();
    EXPECT_EQ(60, qvenv_get_acclevel(&state)) << "outlives an initialisation";
}

TEST_F(Environment, BeforeTheFirstInitialisationNothingIsJudged)
{
    const captured_log log;
    state.cfg = cfg;
    qvenv_update_acclevel(&state);
    EXPECT_BITS({0, 0, 0}, qvenv_filtering_acc(&state, {1, 2, 3}));
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(Environment, FiltersAverageTheirWindows)
{
    init();
    for (int k = 1; k <= 20; ++k)
    {
        const double v = k, mean = k <= 15 ? (v + 1) / 2 : v - 7;
        EXPECT_BITS({mean, 0, -mean}, qvenv_filtering_mag(&state, {v, 0, -v}));
        EXPECT_NEAR(k <= 10 ? (v + 1) / 2 : v - 4.5, qvenv_filtering_quat(&state, {0, 0, 0, v}).z, 1e-12);
    }
}

TEST_F(Environment, OneQuietAxisIsSteadyUnlessTheThresholdIsZero)
{
    for (const double accthr : {0.03, 0.0})
    {
        cfg.accthr = accthr;
        init();
        for (int k = 0; k < 40; ++k)
        {
            qvenv_filtering_acc(&state, {k % 2 * 5.0, k % 3 * 5.0, 9.81});
            qvenv_update_acclevel(&state);
        }
        EXPECT_EQ(accthr > 0.0 ? 0 : 15, qvenv_get_acclevel(&state));
    }
}
