#include "hcal/qvhcal.h"

#include "math/vec3.h"
#include "platform/log.h"
#include "rlsm/qvrlsm_steps.h"

// Nearer samples say the same thing twice, and their noise would outweigh their distance.
static constexpr double GOLDEN_SPACING = 3.0; // microtesla

// A sphere has four unknowns; one sample more makes it a fit.
static constexpr int32_t GOLDEN_MIN = 5;

// Keeps the newest sample, then each one that is far enough from the one kept before it.
static int32_t thin(const qvhcal_state &state, qvcrd_vec3 golden[QVHCAL_RBUF_MAX])
{
    int32_t golden_cnt = 0;
    golden[golden_cnt++] = state.rbuf[0];
    for (int32_t i = 1; i < state.rbufcnt; ++i)
        if (norm(state.rbuf[i] - golden[golden_cnt - 1]) > GOLDEN_SPACING)
            golden[golden_cnt++] = state.rbuf[i];
    return golden_cnt;
}

static void seed(qvrlsm_state *rlsm, const qvrlsm_state &batch)
{
    for (int32_t i = 0; i < 4; ++i)
        rlsm->bak.x[i] = batch.bak.x[i];
    qvrlsm_set_runlevel(rlsm, QVRLSM_RUNLEVEL_SEEDED);
}

int32_t estimate_offset(qvhcal_state *state, qvcrd_vec3 *offset, double *radius)
{
    const int32_t endbg = state->cfg.endbg;
    qvrlsm_state *rlsm = &state->rlsm;
    if (state->rbufcnt < state->cfg.rbufsize)
    {
        QVLOG_IF(endbg, "rbuf is not full (%d/%d)\n", state->rbufcnt, state->cfg.rbufsize);
        return -1;
    }

    qvcrd_vec3 golden[QVHCAL_RBUF_MAX];
    const int32_t golden_cnt = thin(*state, golden);
    if (golden_cnt < GOLDEN_MIN)
        return -1;

    qvrlsm_state batch;
    if (qvrlsm_lsm(&batch, golden, golden_cnt) != 0)
        return -1;
    QVLOG_IF(endbg, "EST_LSM_OUT offset(%.3f,%.3f,%.3f) refoffset(%.3f,%.3f,%.3f) golden_cnt=%d\n", batch.bak.x[0],
             batch.bak.x[1], batch.bak.x[2], rlsm->bak.x[0], rlsm->bak.x[1], rlsm->bak.x[2], golden_cnt);
    if (qvrlsm_get_runlevel(rlsm) == QVRLSM_RUNLEVEL_FRESH)
        seed(rlsm, batch);

    qvrlsm_update_all(rlsm, golden, golden_cnt);
    *offset = qvrlsm_get_offset(rlsm);
    *radius = qvrlsm_get_radius(rlsm);
    QVLOG_IF(endbg, "EST_RLSM_OUT : offset(%f %f %f) radius(%f) stable(%d)\n", offset->x, offset->y, offset->z, *radius,
             qvrlsm_get_stabled(rlsm));

    if (qvrlsm_get_stabled(rlsm) == 0 || *radius > QVHCAL_RADIUS_MAX)
        return -1;
    if (qvrlsm_get_runlevel(rlsm) == QVRLSM_RUNLEVEL_SEEDED)
        qvrlsm_set_runlevel(rlsm, QVRLSM_RUNLEVEL_ACCEPTED);
    return 0;
}
