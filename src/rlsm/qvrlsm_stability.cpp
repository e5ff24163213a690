#include "rlsm/qvrlsm.h"

#include "platform/log.h"

// The band in which the judged results must lie, as a multiple of the scatter limit.
static constexpr double BAND_PER_STDEV = 3.0;

// The first of equal values, and the value so far when one is not a number.
static double larger(double so_far, double value)
{
    return value > so_far ? value : so_far;
}

static double range(const qvmaf &window, int32_t item)
{
    double max = window.buf[0][item], min = window.buf[0][item];
    for (int32_t row = 1; row < window.n; ++row)
    {
        const double value = window.buf[row][item];
        max = larger(max, value);
        min = value < min ? value : min;
    }
    return max - min;
}

static int32_t judge(const qvrlsm_cfg &cfg, const qvmaf &window, const double stdev[4])
{
    double max_stdev = stdev[0], max_df = 0.0;
    if (window.n > 1)
    {
        max_df = range(window, 0);
        for (int32_t item = 1; item < 4; ++item)
        {
            max_df = larger(max_df, range(window, item));
            max_stdev = larger(max_stdev, stdev[item]);
        }
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
