#include "rlsm/qvrlsm.h"

#include "platform/log.h"

#include <cstring>

// The band in which the judged results must lie, as a multiple of the scatter limit.
static constexpr double BAND_PER_STDEV = 3.0;

// The larger value, and so_far when the two are equal or one is NaN.
static double larger(double so_far, double value)
{
    return value > so_far ? value : so_far;
}

// The widest of the four bands, all of them found in one pass.
static double widest_band(const qvmaf &window)
{
    double max[4], min[4];
    std::memcpy(max, window.buf[0], sizeof max);
    std::memcpy(min, window.buf[0], sizeof min);
    for (int32_t row = 1; row < window.n; ++row)
        for (int32_t item = 0; item < 4; ++item)
        {
            const double value = window.buf[row][item];
            max[item] = larger(max[item], value);
            min[item] = value < min[item] ? value : min[item];
        }

    double widest = max[0] - min[0];
    for (int32_t item = 1; item < 4; ++item)
        widest = larger(widest, max[item] - min[item]);
    return widest;
}

static int32_t judge(const qvrlsm_cfg &cfg, const qvmaf &window, const double stdev[4])
{
    double max_stdev = stdev[0], max_df = 0.0;
    if (window.n > 1)
    {
        max_df = widest_band(window);
        for (int32_t item = 1; item < 4; ++item)
            max_stdev = larger(max_stdev, stdev[item]);
    }

    const double band = BAND_PER_STDEV * cfg.stdev;
    const bool stable = max_df < band && max_stdev < cfg.stdev;
    if (cfg.endbg)
        QVLOG_AS("update_stabled_status", "RLSM_STABLED[%c] max_stdev(%.1f<%.1f) max_df(%.1f<%.1f)\n",
                 stable ? 'O' : 'X', max_stdev, cfg.stdev, max_df, band);
    return stable ? 1 : 0;
}

int32_t update_stabled_status(qvrlsm_state *state)
{
    qvrlsm_bak &bak = state->bak;
    bak.stabled = 0;

    const double result[4] = {bak.offset[0], bak.offset[1], bak.offset[2], bak.radius};
    double unused[4];
    qvmaf_run(&state->routmaf, result, unused);
    if (qvmaf_get_n(&state->routmaf) < state->cfg.routmafsize)
    {
        QVLOG_IF(state->cfg.endbg, "routmaf is not full\n");
        return bak.stabled;
    }

    double stdev[4];
    if (qvmaf_get_stdev(&state->routmaf, stdev) == 0)
        bak.stabled = judge(state->cfg, state->routmaf, stdev);
    return bak.stabled;
}
