// The running estimate of the inclination, in a header for the per-sample path.
#pragma once

#include "fusion/qvfusion.h"
#include "math/angles.h"
#include "platform/log.h"

inline int32_t blend_inclination(qvfusion_state *state, const qvcrd_vec3 &acc, const qvcrd_vec3 &field)
{
    if (std::fabs(norm(acc) - QVFUSION_GRAVITY) > state->cfg.inclination_acctol)
        return 0;

    const double alpha = state->cfg.inclination_alpha;
    const double measured = inclination(acc, field);
    state->bak.inclination = alpha * measured + (1.0 - alpha) * state->bak.inclination;
    if (state->cfg.endbg)
        QVLOG_AS("qvfusion_update_inclination", "N_INCLINATION = %f rad (=%f degree)\n", state->bak.inclination,
                 degrees(state->bak.inclination));
    return 1;
}
