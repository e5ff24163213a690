#include "motion/qvmotion_vote.h"
#include "platform/log.h"

static bool all_axes_scatter(qvcrd_vec3 stdev, double min)
{
    return stdev.x >= min && stdev.y >= min && stdev.z >= min;
}

static double largest_axis(qvcrd_vec3 v)
{
    const double xy = v.y > v.x ? v.y : v.x;
    return v.z > xy ? v.z : xy;
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
