#include "motion/qvmotion.h"
#include "support.h"

struct Motion : testing::Test
{
    Motion()
    {
        qvmotion_get_default_cfg(&cfg);
        qvmotion_init(&state, &cfg);
    }

    // The class in force after each vote: 0 STABLE, 1 MOVING.
    std::string vote(bool moving, int times)
    {
        std::string classes;
        for (int k = 0; k < times; ++k)
            classes += std::to_string(qvmotion_get_movement(&state, samples, 3, moving ? 1 : 0, 0.5));
        return classes;
    }

    int32_t result(qvcrd_vec3 span)
    {
        samples[0] = {0, 0, 0};
        samples[1] = span;
        samples[2] = {0, span.y, 0};
        return qvmotion_get_result(&state, samples, 3);
    }

    qvmotion_cfg cfg = dirty<qvmotion_cfg>();
    qvmotion_state state = dirty<qvmotion_state>();
    qvcrd_vec3 samples[40] = {};
};

TEST_F(Motion, VotesReinforceTheClassInForce)
{
    EXPECT_EQ("00", vote(true, 2));
    EXPECT_EQ(0, state.motion_movement_pending);
    EXPECT_EQ("1", vote(true, 1)) << "the third from weight 0";
    EXPECT_EQ(1, state.motion_movement_pending);
    EXPECT_EQ("111110", vote(false, 6)) << "six from weight 3";
    EXPECT_EQ(0, state.motion_movement_pending);
    EXPECT_EQ(4, state.stable_cnt);
    vote(true, 1);
    EXPECT_EQ(-2, state.moving_weight);
    vote(false, 1);
    EXPECT_EQ(-3, state.moving_weight) << "a stable vote counts twice while stable, and stops at the floor";
}

TEST_F(Motion, CountersStopAtTheirCap)
{
    vote(true, 32770);
    EXPECT_EQ(32768, state.moving_cnt);
    state.moving_weight = -3;
    state.stable_cnt = 32768;
    vote(false, 1);
    EXPECT_EQ(32768, state.stable_cnt);
    EXPECT_EQ(0, state.moving_cnt);
}

TEST_F(Motion, WithoutGyroscopeTheScatterDecides)
{
    const auto classify = [this](qvcrd_vec3 deviation, int32_t n)
    {
        qvmotion_clear(&state);
        for (int k = 0; k < n; ++k)
            samples[k] = qvcrd_scalar(deviation, k % 2 == 0 ? 1.0 : -1.0);
        const int32_t movement = qvmotion_get_movement(&state, samples, n, 7, 0.0);
        return movement == QVMOTION_MOVEMENT__NOISE1 ? 2 : state.moving_weight;
    };
    EXPECT_EQ(1, classify({1.5, 1.5, 1.5}, 4)) << "exactly the limit on every axis moves";
    for (const qvcrd_vec3 quiet : {qvcrd_vec3{1.4, 9, 9}, {9, 1.4, 9}, {9, 9, 1.4}, {9, 9, std::nan("")}})
        EXPECT_EQ(-2, classify(quiet, 4)) << "one quiet axis does not";
    EXPECT_EQ(1, classify({50, 9, 9}, 4)) << "exactly the upper limit is no noise";
    for (const qvcrd_vec3 noise : {qvcrd_vec3{51, 9, 9}, {9, 51, 9}, {9, 9, 51}})
        EXPECT_EQ(2, classify(noise, 4));
    for (const int32_t too_few : {2, -5})
        EXPECT_EQ(-2, classify({99, 99, 99}, too_few)) << "neither movement nor noise";
}

TEST_F(Motion, GyroscopeOverridesTheScatter)
{
    samples[1] = {500, 500, 500};
    EXPECT_EQ("0", vote(false, 1));
    EXPECT_EQ(-2, state.moving_weight);
    state.motion_movement = QVMOTION_MOVEMENT__NOISE1;
    state.motion_movement_pending = 1;
    EXPECT_EQ("0", vote(false, 1));
    EXPECT_EQ(1, state.motion_movement_pending) << "only a turn from MOVING ends it";
}

TEST_F(Motion, ResultTestsRunInTheirOrder)
{
    EXPECT_EQ(QVMOTION_RESULT__UNKNOWN, result({30, 30, 30})) << "no movement seen";
    EXPECT_BITS(-32768.0, state.moving_max.x);
    EXPECT_BITS(32767.0, state.moving_min.z);
    EXPECT_EQ(QVMOTION_RESULT__UNKNOWN, state.motion_result);

    state.motion_movement_pending = 1;
    const struct
    {
        qvcrd_vec3 span;
        int32_t result;
        const char *why;
    } cases[] = {
        {{15, 15, 15}, QVMOTION_RESULT__READY, "exactly the minimum"},
        {{150, 150, 150}, QVMOTION_RESULT__READY, "exactly the maximum"},
        {{14.9, 30, 500}, QVMOTION_RESULT__UNKNOWN, "too narrow on one axis comes before too wide on another"},
        {{16, 14.9, 16}, QVMOTION_RESULT__UNKNOWN, "too narrow along y"},
        {{151, 100, 100}, QVMOTION_RESULT__NOISE2, "too wide along x"},
        {{100, 151, 100}, QVMOTION_RESULT__NOISE2, "too wide along y"},
        {{21, 30, 100}, QVMOTION_RESULT__READY, "a ratio exactly at its lower bound"},
        {{30, 30, 0}, QVMOTION_RESULT__UNKNOWN, "no span, and no division by it"},
        {{20, 40, 30}, QVMOTION_RESULT__UNKNOWN, "no pair of spans is balanced"},
        {{20, 25, 60}, QVMOTION_RESULT__READY, "one pair is"},
        {{100, 100, 151}, QVMOTION_RESULT__NOISE2, "too wide"},
    };
    for (const auto &c : cases)
    {
        EXPECT_EQ(c.result, result(c.span)) << c.why;
        EXPECT_EQ(c.result, state.motion_result) << c.why;
    }
    samples[3] = {std::nan(""), 30, 30};
    samples[4] = {30, 30, 30};
    EXPECT_EQ(QVMOTION_RESULT__READY, qvmotion_get_result(&state, samples + 2, 3)) << "no number replaces no extreme";
}
