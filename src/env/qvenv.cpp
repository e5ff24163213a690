#include "env/qvenv.h"

#include "platform/log.h"

#include <cstring>

// Windows of the filters whose length is fixed, in samples.
static constexpr int32_t ACC_WINDOW = 15;
static constexpr int32_t MAG_WINDOW = 15;
static constexpr int32_t QUAT_WINDOW = 10;

// A moved device counts as steady again after this many windows of steady steps.
static constexpr int32_t PENDING_WINDOWS = 4;

int32_t qvenv_get_default_cfg(qvenv_cfg *cfg)
{
    cfg->endbg = 0;
    for (int32_t i = 0; i < 3; ++i)
        for (int32_t j = 0; j < 3; ++j)
            cfg->simtx[i][j] = i == j ? 1.0 : 0.0;
    cfg->accthr = (double)0.03f;
    cfg->gyrthr = 0.0;
    cfg->aweight = (double)0.99f;
    std::strcpy(cfg->custcfg, QV6D_DEFAULT_CUSTCFG);
    std::strcpy(cfg->cfgbak, QV6D_DEFAULT_CFGBAK);
    std::strcpy(cfg->datbak, QV6D_DEFAULT_DATBAK);
    return 0;
}

void qvenv_disp_cfg(const qvenv_cfg *cfg, int32_t enable)
{
    if (enable == 0)
        return;
    QVLOG_TITLE("ENV.CFG");
    QVLOG("- endbg : %d\n", cfg->endbg);
    QVLOG("- simtx[3][3]\n");
    for (int32_t i = 0; i < 3; ++i)
        QVLOG("        %f, %f, %f\n", cfg->simtx[i][0], cfg->simtx[i][1], cfg->simtx[i][2]);
    QVLOG("- accthr : %f\n", cfg->accthr);
    QVLOG("- gyrthr : %f\n", cfg->gyrthr);
    QVLOG("- aweight : %f\n", cfg->aweight);
    QVLOG("- custcfg_name : %s\n", cfg->custcfg);
    QVLOG("- cfgbak_name : %s\n", cfg->cfgbak);
    QVLOG("- datbak_name : %s\n", cfg->datbak);
    QVLOG_END();
}

static void init_filter(qvmaf *filter, int32_t n_order, int32_t n_item)
{
    qvmaf_cfg cfg;
    qvmaf_config(&cfg, n_order, n_item);
    qvmaf_init(filter, &cfg);
}

int32_t qvenv_init(qvenv_state *state, const qvenv_cfg *cfg)
{
    state->cfg = *cfg;
    init_filter(&state->acc, ACC_WINDOW, 3);
    init_filter(&state->mag, MAG_WINDOW, 3);
    init_filter(&state->quat, QUAT_WINDOW, 4);
    qvenv_disp_cfg(&state->cfg, state->cfg.endbg);
    return 0;
}

void qvenv_term(qvenv_state *)
{
}

double qvenv_get_gyrthr(const qvenv_state *state)
{
    return state->cfg.gyrthr;
}

double qvenv_get_accthr(const qvenv_state *state)
{
    return state->cfg.accthr;
}

uint32_t qvenv_get_gyrlevel(const qvenv_state *state)
{
    return state->gyrlevel;
}

int32_t qvenv_get_acclevel(const qvenv_state *state)
{
    return state->acclevel;
}

void qvenv_update_gyrlevel(qvenv_state *state, const double sample[3])
{
    state->gyrlevel = 0;
    for (uint32_t axis = 0; axis < 3; ++axis)
        if (sample[axis] > state->cfg.gyrthr)
            state->gyrlevel |= 1u << axis;
    QVLOG_IF(state->cfg.endbg, "gyr( %f %f %f ) -> gyrlevel( %d )\n", sample[0], sample[1], sample[2],
             static_cast<int32_t>(state->gyrlevel));
}

static double smallest(const double *values, int32_t n)
{
    double min = values[0];
    for (int32_t i = 1; i < n; ++i)
        if (values[i] < min)
            min = values[i];
    return min;
}

void qvenv_update_acclevel(qvenv_state *state)
{
    const qvenv_cfg &cfg = state->cfg;
    const int32_t n_item = qvmaf_get_n_item(&state->acc);
    const int32_t n_order = qvmaf_get_n_order(&state->acc);
    const int32_t n = qvmaf_get_n(&state->acc);
    QVLOG_IF(cfg.endbg, "n_item = %d / n=%d / accthr=%f\n", n_item, n, cfg.accthr);
    if (n < n_order || n_item < 1 || cfg.accthr == 0.0)
    {
        state->acclevel = n_order;
        return;
    }

    double stdev[QVMAF_ITEM_MAX];
    if (qvmaf_get_stdev(&state->acc, stdev) != 0)
    {
        QVLOG("[ERR] Could not calculate acclevel\n");
        return;
    }

    // One quiet axis is enough to count as steady: a device that moves shakes on all three.
    const double min_stdev = smallest(stdev, n_item);
    if (!(min_stdev < cfg.accthr))
    {
        QVLOG_IF(cfg.endbg, "[ACC MOVED] min_stdev = %f\n", min_stdev);
        state->acclevel = PENDING_WINDOWS * n_order;
    }
    else if (state->acclevel > 1)
    {
        --state->acclevel;
        QVLOG_IF(cfg.endbg, "[ACC MOVED-PENDING] min_stdev = %f\n", min_stdev);
    }
    else
    {
        state->acclevel = 0;
        QVLOG_IF(cfg.endbg, "[ACC STABLED] min_stdev = %f\n", min_stdev);
    }
}

qvcrd_vec3 qvenv_compensate_softiron(const qvenv_state *state, qvcrd_vec3 field)
{
    const auto column = [&](int32_t j)
    {
        const qvenv_cfg &cfg = state->cfg;
        return field.x * cfg.simtx[0][j] + field.y * cfg.simtx[1][j] + field.z * cfg.simtx[2][j];
    };
    return {column(0), column(1), column(2)};
}

static qvcrd_vec3 filtered(qvmaf *filter, qvcrd_vec3 v)
{
    const double sample[3] = {v.x, v.y, v.z};
    double mean[3] = {}; // stays zero before the first initialisation, when the filter has no components
    qvmaf_run(filter, sample, mean);
    return {mean[0], mean[1], mean[2]};
}

qvcrd_vec3 qvenv_filtering_acc(qvenv_state *state, qvcrd_vec3 acc)
{
    return filtered(&state->acc, acc);
}

qvcrd_vec3 qvenv_filtering_mag(qvenv_state *state, qvcrd_vec3 field)
{
    return filtered(&state->mag, field);
}

qvcrd_quat qvenv_filtering_quat(qvenv_state *state, qvcrd_quat quat)
{
    const double sample[4] = {quat.w, quat.x, quat.y, quat.z};
    double mean[4] = {};
    qvmaf_run(&state->quat, sample, mean);
    return {mean[0], mean[1], mean[2], mean[3]};
}

void qvenv_notify_data(qvenv_state *state, int32_t type, const double data[3], double timestamp)
{
    QVLOG_IF(state->cfg.endbg, "type(%d), timestamp(%f), raw(%f,%f,%f)\n", type, timestamp, data[0], data[1], data[2]);
    if (type == QV6D_SENSOR_GYROSCOPE)
        qvenv_update_gyrlevel(state, data);
}
