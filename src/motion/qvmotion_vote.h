// The votes on movement, in a header for the per-sample path.
#pragma once

#include "motion/qvmotion.h"

#include <algorithm>

inline constexpr int32_t QVMOTION_WEIGHT_MAX = 3;
inline constexpr int32_t QVMOTION_COUNT_MAX = 32768;

// Fewer samples say nothing about scatter.
inline constexpr int32_t QVMOTION_SAMPLES_MIN = 3;

// The class in force is reinforced at twice the rate at which it is eroded.
inline void vote(qvmotion_state *state, bool moving)
{
    const bool reinforces = state->motion_movement == (moving ? QVMOTION_MOVEMENT__MOVING : QVMOTION_MOVEMENT__STABLE);
    const int32_t step = reinforces ? 2 : 1;
    state->moving_weight =
        std::clamp(state->moving_weight + (moving ? step : -step), -QVMOTION_WEIGHT_MAX, QVMOTION_WEIGHT_MAX);

    const bool positive = state->moving_weight > 0;
    state->moving_cnt = positive ? std::min(state->moving_cnt + 1, QVMOTION_COUNT_MAX) : 0;
    state->stable_cnt = positive ? 0 : std::min(state->stable_cnt + 1, QVMOTION_COUNT_MAX);
}

inline int32_t decide(qvmotion_state *state)
{
    const int32_t previous = state->motion_movement;
    if (state->moving_weight == QVMOTION_WEIGHT_MAX)
    {
        state->motion_movement = QVMOTION_MOVEMENT__MOVING;
        if (previous != QVMOTION_MOVEMENT__MOVING)
            state->motion_movement_pending = 1;
    }
    else if (state->moving_weight == -QVMOTION_WEIGHT_MAX)
    {
        state->motion_movement = QVMOTION_MOVEMENT__STABLE;
        if (previous == QVMOTION_MOVEMENT__MOVING)
            state->motion_movement_pending = 0;
    }
    return state->motion_movement;
}

// Counts a sample as moving or not; returns the class in force then.
inline int32_t qvmotion_vote(qvmotion_state *state, bool moving)
{
    vote(state, moving);
    return decide(state);
}
