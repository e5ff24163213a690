#include "fusion/convm.h"
#include "fusion/qvfusion.h"
#include "support.h"

static qvmtx quaternion(double w, double x, double y, double z)
{
    return {4, 1, {{w}, {x}, {y}, {z}}};
}

TEST(Rotation, QuaternionsSurviveTheWayThroughTheMatrix)
{
    const struct
    {
        qvmtx q;
        int chosen;
    } cases[] = {
        // Each component is the largest once: each candidate has its own formulas.
        {quaternion(0.8, 0.4, -0.4, 0.2), 0},
        {quaternion(0.2, 0.8, 0.4, -0.4), 1},
        {quaternion(-0.4, 0.2, 0.8, 0.4), 2},
        {quaternion(0.4, -0.4, 0.2, 0.8), 3},
    };
    for (const auto &c : cases)
    {
        qvmtx dc, q = quaternion(9, 9, 9, 9);
        ASSERT_EQ(0, convm_qs2dc(&dc, &c.q));
        ASSERT_EQ(0, convm_dc2qs(&q, &dc));
        for (int i = 0; i < 4; ++i)
            EXPECT_NEAR(c.q.elements[i][0], q.elements[i][0], 1e-15) << c.chosen << " " << i;
    }
}

TEST(Rotation, TiesGoToTheEarlierCandidate)
{
    qvmtx dc, q = quaternion(9, 9, 9, 9);
    const qvmtx negative = quaternion(-1, 0, 0, 0);
    ASSERT_EQ(0, convm_qs2dc(&dc, &negative));
    ASSERT_EQ(0, convm_dc2qs(&q, &dc));
    EXPECT_BITS(1.0, q.elements[0][0]);

    const qvmtx half_turn = {3, 3, {{-1, 0, 0}, {0, 0, 1}, {0, 1, 0}}}; // k2 and k3 both 0.5
    ASSERT_EQ(0, convm_dc2qs(&q, &half_turn));
    EXPECT_BITS(std::sqrt(0.5), q.elements[2][0]);
    EXPECT_NEAR(std::sqrt(0.5), q.elements[3][0], 1e-15);
    const qvmtx no_candidate = {4, 4, {{1}, {0, 1}, {0, 0, 1}, {0, 0, 0, -4}}}; // all four 0.0
    EXPECT_EQ(-1, convm_dc2qs(&q, &no_candidate));
}

TEST(Rotation, AttitudeFromGravityAndFieldNeedsTwoDirections)
{
    qvmtx q = quaternion(9, 9, 9, 9);
    EXPECT_EQ(-1, convm_am2qs(&q, {0, 0, 9.81}, {0, 0, -40}));
    EXPECT_EQ(-1, convm_am2qs(&q, {0, 0, 0}, {0, 20, -40}));
    EXPECT_BITS(9.0, q.elements[0][0]);
    ASSERT_EQ(0, convm_am2qs(&q, {0, 0, 9.81}, {20, 0, -40}));
    EXPECT_NEAR(1.0, q.elements[0][0], 1e-15); // the field along x: axes as they are
}

TEST(Rotation, SmallTurnsAndCrossProducts)
{
    qvmtx p = quaternion(0.5, 0.5, 0.5, 0.5);
    const qvmtx r = {3, 1, {{0.1}, {0.2}, {0.3}}}, v = {3, 1, {{1}, {2}, {3}}}, w = {3, 1, {{4}, {5}, {6}}};
    ASSERT_EQ(0, mulm_quaternion(&p, &r));
    const double expected[] = {0.5 - 0.05 - 0.1 - 0.15, 0.5 + 0.05 + 0.15 - 0.1, 0.5 + 0.1 + 0.05 - 0.15,
                               0.5 + 0.15 + 0.1 - 0.05};
    for (int i = 0; i < 4; ++i)
        EXPECT_NEAR(expected[i], p.elements[i][0], 1e-15);

    qvmtx s, cross;
    ASSERT_EQ(0, convm_vec2prdt(&s, &v));
    ASSERT_EQ(0, qvmtx_mulm(&cross, &s, &w));
    EXPECT_BITS(-3.0, cross.elements[0][0]);
    EXPECT_BITS(6.0, cross.elements[1][0]);
    EXPECT_BITS(-3.0, cross.elements[2][0]);
}

class Fusion : public testing::Test
{
protected:
    void SetUp() override
    {
        qvfusion_get_default_cfg(&cfg);
        qvfusion_get_bak(&bak, &cfg);
        ASSERT_EQ(0, qvfusion_init(&state, &cfg, &bak));
    }

    qvfusion_cfg cfg = dirty<qvfusion_cfg>();
    qvfusion_bak bak = dirty<qvfusion_bak>();
    qvfusion_state state = dirty<qvfusion_state>();
};

TEST_F(Fusion, ZeroRatesAreReplacedInTheRecordNotInTheCopy)
{
    cfg.hz = 0.0;
    cfg.gamma = 0.0;
    ASSERT_EQ(0, qvfusion_init(&state, &cfg, &bak));
    EXPECT_BITS(0.0, state.cfg.hz);
    EXPECT_BITS(100.0, cfg.hz);
    EXPECT_BITS(0.3499999940395355, cfg.gamma);
}

TEST_F(Fusion, NullArgumentsLeaveTheStateAsItWas)
{
    const std::string before = bytes_of(state);
    const captured_log log;
    EXPECT_EQ(-1, qvfusion_init(&state, nullptr, &bak));
    EXPECT_EQ(-1, qvfusion_init(&state, &cfg, nullptr));
    EXPECT_EQ(-1, qvfusion_init(nullptr, &cfg, &bak));
    EXPECT_EQ(before, bytes_of(state));
    EXPECT_EQ(std::vector<std::string>(3, "qvfusion_init: [ERR] parameter is NULL"), log.lines);
}

TEST_F(Fusion, UpdateStampsTheTimeAndResetsTheQuaternion)
{
    state.bak.qs[0] = state.bak.qs[1] = state.bak.qs[3] = 0.5;
    EXPECT_EQ(0, qvfusion_update(&state, 12.5, {1, 2, 3}, {4, 5, 6}));
    EXPECT_BITS(12.5, state.bak.ts);
    EXPECT_BITS(-1.0, state.bak.qs[0]);
    EXPECT_BITS(0.0, state.bak.qs[1] + state.bak.qs[3]);
}

TEST_F(Fusion, InclinationFollowsOnlySamplesNearGravity)
{
    const qvcrd_vec3 field = {0, std::cos(1.0), -std::sin(1.0)};
    const captured_log log;
    state.bak.inclination = 0.8;
    state.cfg.inclination_alpha = 0.25;
    EXPECT_EQ(0, qvfusion_update_inclination(&state, {0, 0, 10.3}, field));
    EXPECT_BITS(0.8, state.bak.inclination);
    EXPECT_EQ(1, qvfusion_update_inclination(&state, {0, 0, 10.2}, field));
    EXPECT_BITS(0.25 * qvcrd_get_inclination({0, 0, 10.2}, field) + 0.75 * 0.8, qvfusion_get_inclination(&state));
    state.cfg.inclination_acctol = std::fabs(10.25 - QVFUSION_GRAVITY);
    EXPECT_EQ(1, qvfusion_update_inclination(&state, {0, 0, 10.25}, field)) << "exactly the tolerance is near";
    qvfusion_clear(&state);
    EXPECT_TRUE(log.lines.empty());
    state.cfg.endbg = 1;
    qvfusion_clear(&state);
    EXPECT_EQ(std::vector<std::string>{"qvfusion_clear: qvfusion_clear"}, log.lines);
    EXPECT_BITS(0.7852499652653933, state.bak.inclination);
}

TEST_F(Fusion, OutputsAreOrientationAndZeros)
{
    const qvfusion_sample sample = {1.0, {1, 2, 3, 4}, {0, 0, 9.81}, {0, 20, -40}}, previous = dirty<qvfusion_sample>();
    const qvfusion_data data = qvfusion_get_fusion_data(&sample, &previous);
    const qvfusion_data zero = {};
    EXPECT_EQ(0, std::memcmp(&data, &zero, offsetof(qvfusion_data, ornt)));
    EXPECT_BITS(qvcrd_get_orientation(&sample.acc, &sample.field).x, data.ornt[0]);
}
