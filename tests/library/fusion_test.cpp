#include "fusion/convm.h"
#include "fusion/qvfusion.h"
#include "support.h"

static qvmtx quaternion(double w, double x, double y, double z)
{
    return {4, 1, {{w}, {x}, {y}, {z}}};
}

TEST(Rotation, QuaternionsSurviveTheWayThroughTheMatrix)
{
    // Each component is the largest once: each candidate has its own formulas.
    for (const qvmtx &expected : {quaternion(0.8, 0.4, -0.4, 0.2), quaternion(0.2, 0.8, 0.4, -0.4),
                                  quaternion(-0.4, 0.2, 0.8, 0.4), quaternion(0.4, -0.4, 0.2, 0.8)})
    {
        qvmtx dc, q = quaternion(9, 9, 9, 9);
        ASSERT_EQ(0, convm_qs2dc(&dc, &expected));
        ASSERT_EQ(0, convm_dc2qs(&q, &dc));
        for (int i = 0; i < 4; ++i)
            EXPECT_NEAR(expected.elements[i][0], q.elements[i][0], 1e-15) << expected.elements[0][0] << " " << i;
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

TEST(Inclination, FollowsOnlySamplesNearGravity)
{
    qvfusion_state state = dirty<qvfusion_state>();
    qvfusion_get_default_cfg(&state.cfg);
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
    EXPECT_TRUE(log.lines.empty());
    state.cfg.endbg = 1;
    qvfusion_clear(&state);
    EXPECT_EQ(std::vector<std::string>{"qvfusion_clear: qvfusion_clear"}, log.lines);
    EXPECT_BITS(0.7852499652653933, state.bak.inclination);
}
