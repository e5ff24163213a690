#include "motion/qvmotion.h"

#include "math/vec3.h"
#include "motion/qvmotion_extremes.h"
#include "platform/log.h"

void qvmotion_get_default_cfg(qvmotion_cfg *cfg)
{
    cfg->endbg = 0;
    cfg->stdevmin = 1.5;
    cfg->stdevmax = 50.0;
    cfg->senrate = 0.3;
    cfg->sendiffmax = 150.0;
    cfg->sendiffmin = 15.0;
}

int32_t qvmotion_init(qvmotion_state *state, const qvmotion_cfg *cfg)
{
    state->cfg = *cfg;
    qvmotion_clear(state);
    qvmotion_disp_cfg(state, state->cfg.endbg);
    return 0;
}

void qvmotion_clear(qvmotion_state *state)
{
    state->moving_cnt = 0;
    state->stable_cnt = 0;
    state->moving_weight = 0;
    state->moving_max = QVMOTION_NO_MAX;
    state->moving_min = QVMOTION_NO_MIN;
    state->motion_movement = QVMOTION_MOVEMENT__STABLE;
    state->motion_movement_pending = 0;
    state->motion_result = QVMOTION_RESULT__UNKNOWN;
}

void qvmotion_disp_cfg(const qvmotion_state *state, int32_t enable)
{
    if (enable == 0)
        return;
    const qvmotion_cfg &cfg = state->cfg;
    QVLOG_TITLE("MOTION.CFG");
    QVLOG("- endbg : %d\n", cfg.endbg);
    QVLOG("- stdevmin : %f\n", cfg.stdevmin);
    QVLOG("- stdevmax : %f\n", cfg.stdevmax);
    QVLOG("- senrate : %f\n", cfg.senrate);
    QVLOG("- sendiffmin : %f\n", cfg.sendiffmin);
    QVLOG("- sendiffmax : %f\n", cfg.sendiffmax);
    QVLOG_END();
}

void qvmotion_disp_status(const qvmotion_state *state, int32_t enable)
{
    if (enable == 0)
        return;
    const qvcrd_vec3 max = state->moving_max, min = state->moving_min;
    const qvcrd_vec3 diff = max - min;
    QVLOG(QVLOG_DASHES "\n");
    QVLOG("- moving_cnt = %d\n", state->moving_cnt);
    QVLOG("- stable_cnt = %d\n", state->stable_cnt);
    QVLOG("- moving_weight = %d\n", state->moving_weight);
    QVLOG("- moving_max = %.3f %.3f %.3f\n", max.x, max.y, max.z);
    QVLOG("- moving_min = %.3f %.3f %.3f\n", min.x, min.y, min.z);
    QVLOG("- moving_diff = %.3f %.3f %.3f\n", diff.x, diff.y, diff.z);
    QVLOG("- motion_movement = %d\n", state->motion_movement);
    QVLOG("- motion_movement_pending = %d\n", state->motion_movement_pending);
    QVLOG("- motion_result = %d\n", state->motion_result);
    QVLOG("- motion_result_pending = %d\n", state->motion_result_pending);
    QVLOG_END();
}
