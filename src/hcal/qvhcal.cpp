#include "hcal/qvhcal.h"

#include "math/vec3.h"
#include "platform/log.h"

#include <algorithm>

void qvhcal_get_default_cfg(qvhcal_cfg *cfg)
{
    cfg->endbg = 0;
    cfg->rbufsize = 25;
    cfg->cmafsize = 1;
    cfg->amafsize = 15;
    cfg->accuracy[0] = 20.0;
    cfg->accuracy[1] = 10.0;
    cfg->accuracy[2] = 6.0;
    cfg->rdummycnt = 1;
    cfg->readycnt = 2;
    cfg->rinclination = 20.0;
    cfg->enhthr = 6.0;
    qvmotion_get_default_cfg(&cfg->motion);
    qvrlsm_get_default_cfg(&cfg->rlsm);
    cfg->incmask = QV6D_POLICY_TRUST_FIT;
    cfg->clearradius = 10.0;
}

void qvhcal_get_bak(qvhcal_bak *bak, const qvhcal_cfg *cfg)
{
    qvrlsm_get_bak(&bak->rlsm, &cfg->rlsm);
    bak->status = {};
    bak->status.dummycnt = cfg->rdummycnt;
    bak->status.motion_result = QVMOTION_RESULT__UNKNOWN;
}

int32_t qvhcal_init(qvhcal_state *state, const qvhcal_cfg *cfg, const qvhcal_bak *bak)
{
    if (state == nullptr || cfg == nullptr || bak == nullptr)
    {
        QVLOG("[ERR] %s's parameter is NULL\n", __func__);
        return -1;
    }
    state->cfg = *cfg;
    state->cfg.rbufsize = std::min<int32_t>(cfg->rbufsize, QVHCAL_RBUF_MAX);
    if (qvmotion_init(&state->motion, &state->cfg.motion) != 0 ||
        qvrlsm_init(&state->rlsm, &cfg->rlsm, &bak->rlsm) != 0)
        return -1;
    exponential_init();

    qvmaf_cfg window;
    qvmaf_config(&window, state->cfg.amafsize, 2);
    qvmaf_init(&state->amaf, &window);
    state->status = bak->status;
    state->rbufcnt = 0;
    state->clearchecked = 0;
    qvhcal_disp_cfg(state, state->cfg.endbg);
    return 0;
}

void qvhcal_clear(qvhcal_state *state)
{
    QVLOG("[INFO] HCAL CLEARD(RESET)\n");
    qvmotion_clear(&state->motion);
    qvrlsm_clear(&state->rlsm);
    state->status.calibrated = 0;
    state->rbufcnt = 1;
    state->status.dummycnt = state->cfg.rdummycnt;
    // Where the configuration waits for no READY buffer, the first fit after a clear only lets the estimator settle.
    state->status.readycnt = state->cfg.readycnt == 0 ? -2 : 0;
}

void qvhcal_term(qvhcal_state *)
{
}

qvcrd_vec3 qvhcal_get_offset(const qvhcal_state *state)
{
    return load_vec3(state->status.rep_offset);
}

double qvhcal_get_radius(const qvhcal_state *state)
{
    return state->status.rep_radius;
}

int32_t qvhcal_get_accuracy(const qvhcal_state *state)
{
    return state->status.rep_accuracy;
}

qvcrd_vec3 qvhcal_get_canceled(const qvhcal_state *state)
{
    return load_vec3(state->status.canceled);
}

qvcrd_vec3 qvhcal_get_uncanceled(const qvhcal_state *state)
{
    return load_vec3(state->status.uncanceled);
}

qvcrd_vec3 qvhcal_get_enholicoff(const qvhcal_state *state)
{
    return load_vec3(state->status.enholicoff);
}
