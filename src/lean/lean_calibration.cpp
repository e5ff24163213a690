#include "hcal/qvhcal_steps.h"
#include "lean/lean.h"
#include "lean/recent.h"
#include "lean/spread.h"
#include "math/vec3.h"
#include "motion/qvmotion_vote.h"

#include <algorithm>
#include <cmath>
#include <cstring>

// Debug lines show the deviations, the polar angle and both averages; one policy looks at the angle. Where neither is
// on, the angle decides nothing, and of a deviation only the side of its limits counts. A buffer of one sample stays
// full and would be filled in front of its beginning; without a window there is no average.
bool lean_can_calibrate(const qvhcal_state *state)
{
    const qvhcal_cfg &cfg = state->cfg;
    return cfg.endbg == 0 && cfg.motion.endbg == 0 && (cfg.incmask & QV6D_POLICY_POLAR_ANGLE) == 0 &&
           cfg.rbufsize >= 2 && state->amaf.n_order >= 1;
}

// As push_rawuT, but from the end of rbuf on, so that no sample moves. A full buffer begins at rbuf[0], as there.
// Returns the newest sample.
static const qvcrd_vec3 *push(qvhcal_state *state, const qvcrd_vec3 &field)
{
    qvcrd_vec3 *newest = state->rbuf + (state->cfg.rbufsize - ++state->rbufcnt);
    *newest = field;
    return newest;
}

// Moves the samples that are left of a buffer that was cut to its end.
static void keep_newest(qvhcal_state *state, const qvcrd_vec3 *newest)
{
    std::memmove(state->rbuf + (state->cfg.rbufsize - state->rbufcnt), newest,
                 static_cast<std::size_t>(state->rbufcnt) * sizeof *newest);
}

// As qvmotion_get_movement, which is asked where the sums cannot tell.
static int32_t classify_movement(qvhcal_state *state, const qvcrd_vec3 *samples, int32_t gyrlevel, double gyrthr)
{
    static spread sums;
    qvmotion_state *motion = &state->motion;
    const int32_t n = state->rbufcnt;
    if (gyrthr != 0.0)
        return qvmotion_vote(motion, gyrlevel >= 1);

    spread_follow(&sums, samples, n);
    if (n < QVMOTION_SAMPLES_MIN)
        return qvmotion_vote(motion, false);
    const spread_side largest = spread_largest(sums, motion->cfg.stdevmax);
    const spread_side smallest = spread_smallest(sums, motion->cfg.stdevmin);
    if (largest == spread_side::below && smallest != spread_side::unsure) [[likely]]
        return qvmotion_vote(motion, smallest == spread_side::above);
    return qvmotion_get_movement(motion, samples, n, gyrlevel, gyrthr);
}

// As update_accuracy, with the norms alone. Their sum runs from newest to oldest, as in the filter.
static int32_t grade(qvhcal_state *state, const qvcrd_vec3 &canceled)
{
    static recent<double, QVMAF_ORDER_MAX> norms;
    qvmaf &window = state->amaf;
    window.n = std::min(window.n + 1, window.n_order);
    recent_push(&norms, norm(canceled));

    double sum = 0.0;
    for (int32_t i = 0; i < window.n; ++i)
        sum += recent_values(norms)[i];
    int32_t unused;
    return qvhcal_grade(state, std::fabs(sum / window.n - state->status.rep_radius), 0.0, &unused);
}

int32_t lean_calibrate(qvhcal_state *state, int32_t gyrlevel, const qvcrd_vec3 &field, double gyrthr)
{
    const qvcrd_vec3 *newest = push(state, field);
    const int32_t count = state->rbufcnt;
    qvhcal_take_movement(state, classify_movement(state, newest, gyrlevel, gyrthr));
    const int32_t result = qvhcal_evaluate(state);
    qvhcal_publish(state, field, grade(state, qvhcal_cancel(state, field)));
    if (state->rbufcnt != count) [[unlikely]]
        keep_newest(state, newest);
    return result;
}
