#include "motion/qvmotion_vote.h"

#include "platform/log.h"

#include <algorithm>

static constexpr int32_t MOVING_WEIGHT_MAX = 3;
static constexpr int32_t COUNT_MAX = 32768;

static bool all_axes_scatter(qvcrd_vec3 stdev, double min)
{
    return stdev.x >= min && stdev.y >= min && stdev.z >= min;
}

static double largest_axis(qvcrd_vec3 v)
{
    const double xy = v.y > v.x ? v.y : v.x;
    return v.z > xy ? v.z : xy;
}

// The class in force is reinforced at twice the rate at which it is eroded.
static void vote(qvmotion_state *state, bool moving)
{
    const bool reinforces = state->motion_movement == (moving ? QVMOTION_MOVEMENT__MOVING : QVMOTION_MOVEMENT__STABLE);
    const int32_t step = reinforces ? 2 : 1;
    state->moving_weight =
        std::clamp(state->moving_weight + (moving ? step : -step), -MOVING_WEIGHT_MAX, MOVING_WEIGHT_MAX);

    const bool positive = state->moving_weight > 0;
    state->moving_cnt = positive ? std::min(state->moving_cnt + 1, COUNT_MAX) : 0;
    state->stable_cnt = positive ? 0 : std::min(state->stable_cnt + 1, COUNT_MAX);
}

static int32_t decide(qvmotion_state *state)
{
    const int32_t previous = state->motion_movement;
    if (state->moving_weight == MOVING_WEIGHT_MAX)
    {
        state->motion_movement = QVMOTION_MOVEMENT__MOVING;
        if (previous != QVMOTION_MOVEMENT__MOVING)
            state->motion_movement_pending = 1;
    }
    else if (state->moving_weight == -MOVING_WEIGHT_MAX)
    {
        state->motion_movement = QVMOTION_MOVEMENT__STABLE;
        if (previous == QVMOTION_MOVEMENT__MOVING)
            state->motion_movement_pending = 0;
    }
    return state->motion_movement;
}

int32_t qvmotion_vote(qvmotion_state *state, bool moving)
{
    vote(state, moving);
    return decide(state);
}

int32_t qvmotion_get_movement(qvmotion_state *state, const qvcrd_vec3 *samples, int32_t n, int32_t gyrlevel,
                              double gyrthr)
{
    const qvmotion_cfg &cfg = state->cfg;
    const qvcrd_vec3 stdev = qvcrd_get_stdev(samples, n);
    if (cfg.endbg)
    {
        const qvcrd_vec3 newest = samples[0], second = n > 1 ? samples[1] : qvcrd_vec3{};
        QVLOG("gyrthr( %f ) | gyrlevel( %d ) | rbuf[1]( %f %f %f ) | rbuf[0]( %f %f %f )\n", gyrthr, gyrlevel, second.x,
              second.y, second.z, newest.x, newest.y, newest.z);
        QVLOG("stdev = %.3f %.3f %.3f (@ %f~%f)\n", stdev.x, stdev.y, stdev.z, cfg.stdevmin, cfg.stdevmax);
    }

    bool moving = gyrlevel >= 1;
    if (gyrthr == 0.0)
    {
        moving = n >= QVMOTION_SAMPLES_MIN && all_axes_scatter(stdev, cfg.stdevmin);
        if (n >= QVMOTION_SAMPLES_MIN && largest_axis(stdev) > cfg.stdevmax)
            return state->motion_movement = QVMOTION_MOVEMENT__NOISE1;
    }
    return qvmotion_vote(state, moving);
}
