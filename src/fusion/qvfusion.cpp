#include "fusion/qvfusion.h"

#include "fusion/inclination.h"
#include "math/qvmtx.h"
#include "math/vec3.h"
#include "platform/log.h"

#include <cmath>

static constexpr double DEFAULT_HZ = 100.0;
static constexpr double DEFAULT_GAMMA = (double)0.35f;

// Room for a filter's work. There is no filter: qvfusion_free empties these, and nothing fills them.
static qvmtx work[4];

qvfusion_cfg *qvfusion_get_default_cfg(qvfusion_cfg *cfg)
{
    cfg->endbg = 0;
    cfg->hz = DEFAULT_HZ;
    cfg->gamma = DEFAULT_GAMMA;
    cfg->ips = (double)0.001f;
    cfg->ras = (double)0.1f;
    cfg->rms = (double)1e-5f;
    cfg->rps = (double)0.1f;
    cfg->inclination = 0x1.920c489000000p-1; // 0.785250: 45 degrees by the library's own half of pi
    cfg->inclination_alpha = 0.5;
    cfg->inclination_acctol = (double)0.4f;
    return cfg;
}

qvfusion_bak *qvfusion_get_bak(qvfusion_bak *bak, const qvfusion_cfg *cfg)
{
    *bak = {};
    bak->ts = -1.0;
    for (int32_t i = 0; i < 3; ++i)
        bak->ps[i][i] = cfg->ips;
    bak->qs[0] = -1.0;
    bak->inclination = cfg->inclination;
    return bak;
}

int32_t qvfusion_init(qvfusion_state *state, qvfusion_cfg *cfg, const qvfusion_bak *bak)
{
    if (state == nullptr || cfg == nullptr || bak == nullptr)
    {
        QVLOG("[ERR] parameter is NULL\n");
        qvfusion_free();
        return -1;
    }
    state->cfg = *cfg;
    if (cfg->hz == 0.0)
        cfg->hz = DEFAULT_HZ;
    if (cfg->gamma == 0.0)
        cfg->gamma = DEFAULT_GAMMA;
    qvfusion_disp_cfg(&state->cfg, state->cfg.endbg);
    state->bak = *bak;
    qvfusion_disp_bak(&state->bak, state->cfg.endbg);
    state->initialised = 1;
    return 0;
}

void qvfusion_clear(qvfusion_state *state)
{
    QVLOG_IF(state->cfg.endbg, "qvfusion_clear\n");
    qvfusion_get_bak(&state->bak, &state->cfg);
}

int32_t qvfusion_update(qvfusion_state *state, double time, qvcrd_vec3, qvcrd_vec3)
{
    state->bak.ts = time;
    state->bak.qs[0] = -1.0;
    for (int32_t i = 1; i < 4; ++i)
        state->bak.qs[i] = 0.0;
    return 0;
}

int32_t qvfusion_update_inclination(qvfusion_state *state, qvcrd_vec3 acc, qvcrd_vec3 field)
{
    return blend_inclination(state, acc, field);
}

double qvfusion_get_inclination(const qvfusion_state *state)
{
    return state->bak.inclination;
}

qvfusion_data qvfusion_get_fusion_data(const qvfusion_sample *current, const qvfusion_sample *)
{
    qvfusion_data data = {};
    const qvcrd_vec3 orientation = qvcrd_get_orientation(&current->acc, &current->field);
    data.ornt[0] = orientation.x;
    data.ornt[1] = orientation.y;
    data.ornt[2] = orientation.z;
    return data;
}

void qvfusion_disp_cfg(const qvfusion_cfg *cfg, int32_t enable)
{
    if (enable == 0)
        return;
    QVLOG_TITLE("FUSION.CFG");
    QVLOG("- endbg : %d\n", cfg->endbg);
    QVLOG("- hz : %.3f\n", cfg->hz);
    QVLOG("- gamma : %f\n", cfg->gamma);
    QVLOG("- ips : %f\n", cfg->ips);
    QVLOG("- rps : %f\n", cfg->rps);
    QVLOG("- rms : %f\n", cfg->rms);
    QVLOG("- ras : %f\n", cfg->ras);
    QVLOG("- inclination : %.3f rad (=%.3f degree)\n", cfg->inclination, degrees(cfg->inclination));
    QVLOG("- inclination_alpha : %.3f\n", cfg->inclination_alpha);
    QVLOG("- inclination_acctol : %.3f\n", cfg->inclination_acctol);
    QVLOG_END();
}

void qvfusion_disp_bak(const qvfusion_bak *bak, int32_t enable)
{
    if (enable == 0)
        return;
    QVLOG_TITLE("FUSION.BAK");
    QVLOG("- ts : %f\n", bak->ts);
    QVLOG("- xs :\n");
    QVLOG("        %10.3f\t%10.3f\t%10.3f\n", bak->xs[0], bak->xs[1], bak->xs[2]);
    QVLOG("- ps :\n");
    for (int32_t i = 0; i < 3; ++i)
        QVLOG("        %10.3f\t%10.3f\t%10.3f\n", bak->ps[i][0], bak->ps[i][1], bak->ps[i][2]);
    QVLOG("- qs :\n");
    QVLOG("        %10.3f\t%10.3f\t%10.3f\t%10.3f\n", bak->qs[0], bak->qs[1], bak->qs[2], bak->qs[3]);
    QVLOG("- inclination : %.3f rad (=%.3f degree)\n", bak->inclination, degrees(bak->inclination));
    QVLOG_END();
}

void qvfusion_free(void)
{
    for (qvmtx &matrix : work)
        qvmtx_free(&matrix);
}

void qvfusion_term(qvfusion_state *)
{
    qvfusion_free();
}
