#include "rlsm/qvrlsm.h"

#include "math/vec3.h"
#include "platform/log.h"

#include <algorithm>

qvrlsm_cfg *qvrlsm_get_default_cfg(qvrlsm_cfg *cfg)
{
    cfg->endbg = 0;
    cfg->pcal0 = 10.0;
    cfg->pcal1 = (double)0.001f;
    cfg->pcal2 = 100000.0;
    cfg->w = (double)0.988f;
    cfg->rn = 10.0;
    cfg->stdev = (double)0.3f;
    cfg->routmafsize = 10;
    return cfg;
}

void qvrlsm_get_bak(qvrlsm_bak *bak, const qvrlsm_cfg *cfg)
{
    *bak = {};
    bak->x[3] = 100.0;
    // Every element is scaled, zeros too: with a scale that is not finite they must not stay 0.
    const double diagonal[4] = {cfg->pcal1, cfg->pcal1, cfg->pcal1, cfg->pcal2};
    for (int32_t i = 0; i < 4; ++i)
        for (int32_t j = 0; j < 4; ++j)
            bak->p[i][j] = cfg->pcal0 * (i == j ? diagonal[i] : 0.0);
}

void qvrlsm_disp_cfg(const qvrlsm_cfg *cfg, int32_t enable)
{
    if (enable == 0)
        return;
    QVLOG_TITLE("RLSM.CFG");
    QVLOG("- endbg : %d\n", cfg->endbg);
    QVLOG("- pcal0 : %f\n", cfg->pcal0);
    QVLOG("- pcal1 : %f\n", cfg->pcal1);
    QVLOG("- pcal2 : %f\n", cfg->pcal2);
    QVLOG("- w : %f\n", cfg->w);
    QVLOG("- rn : %f\n", cfg->rn);
    QVLOG("- stdev : %f\n", cfg->stdev);
    QVLOG("- routmafsize : %d\n", cfg->routmafsize);
    QVLOG_END();
}

int32_t qvrlsm_init(qvrlsm_state *state, const qvrlsm_cfg *cfg, const qvrlsm_bak *bak)
{
    state->cfg = *cfg;
    state->cfg.routmafsize = std::clamp<int32_t>(cfg->routmafsize, 0, QVMAF_ORDER_MAX);
    state->bak = *bak;

    qvmaf_cfg window;
    qvmaf_config(&window, state->cfg.routmafsize, 4);
    qvmaf_init(&state->routmaf, &window);
    qvrlsm_disp_cfg(&state->cfg, state->cfg.endbg);
    return 0;
}

void qvrlsm_clear(qvrlsm_state *state)
{
    qvrlsm_get_bak(&state->bak, &state->cfg);
    qvmaf_clear(&state->routmaf);
}

void qvrlsm_free(qvrlsm_state *)
{
}

qvcrd_vec3 qvrlsm_get_offset(const qvrlsm_state *state)
{
    return load_vec3(state->bak.offset);
}

double qvrlsm_get_radius(const qvrlsm_state *state)
{
    return state->bak.radius;
}

int32_t qvrlsm_get_stabled(const qvrlsm_state *state)
{
    return state->bak.stabled;
}

int32_t qvrlsm_get_runlevel(const qvrlsm_state *state)
{
    return state->bak.runlevel;
}

void qvrlsm_set_runlevel(qvrlsm_state *state, int32_t runlevel)
{
    state->bak.runlevel = runlevel;
}
