#include "hcal/qvhcal.h"

#include "platform/log.h"

void qvhcal_disp_cfg(const qvhcal_state *state, int32_t enable)
{
    if (enable == 0)
        return;
    const qvhcal_cfg &cfg = state->cfg;
    QVLOG_TITLE("HCAL.CFG");
    QVLOG("-endbg : %d\n", cfg.endbg);
    QVLOG("-rbufsize : %d\n", cfg.rbufsize);
    QVLOG("-cmafsize : %d\n", cfg.cmafsize);
    QVLOG("-amafsize : %d\n", cfg.amafsize);
    QVLOG("-accuracy : [2]%.1f [1]%.1f [0]%.1f\n", cfg.accuracy[2], cfg.accuracy[1], cfg.accuracy[0]);
    QVLOG("-rdummycnt : %d\n", cfg.rdummycnt);
    QVLOG("-readycnt : %d\n", cfg.readycnt);
    QVLOG("-inclination : %f\n", cfg.rinclination);
    QVLOG("-incmask : %d\n", cfg.incmask);
    QVLOG("-enhthr : %f\n", cfg.enhthr);
    QVLOG("-clearradius: %f\n", cfg.clearradius);
    QVLOG_END();
}

void disp_bak_rlsm(const qvhcal_bak *bak, int32_t enable)
{
    if (enable == 0)
        return;
    const qvrlsm_bak &rlsm = bak->rlsm;
    QVLOG_TITLE("HCAL.RLSM.BAK");
    QVLOG("-x (%f, %f, %f, %f)\n", rlsm.x[0], rlsm.x[1], rlsm.x[2], rlsm.x[3]);
    for (int32_t i = 0; i < 4; ++i)
        QVLOG("-p[%d] (%f, %f, %f, %f)\n", i, rlsm.p[i][0], rlsm.p[i][1], rlsm.p[i][2], rlsm.p[i][3]);
    QVLOG("-offset (%f, %f, %f) | radius (%f) | stabled(%d)\n", rlsm.offset[0], rlsm.offset[1], rlsm.offset[2],
          rlsm.radius, rlsm.stabled);
}

void disp_bak_status(const qvhcal_status *status, int32_t enable)
{
    if (enable == 0)
        return;
    const qvhcal_status &s = *status;
    QVLOG_TITLE("HCAL.STATUS.BAK");
    QVLOG("-calibrated: %d\n", s.calibrated);
    QVLOG("-rep_offset (%f, %f, %f) | rep_radius (%f)\n", s.rep_offset[0], s.rep_offset[1], s.rep_offset[2],
          s.rep_radius);
    QVLOG("-rep_accuracy: %d\n", s.rep_accuracy);
    QVLOG("-dummycnt: %d\n", s.dummycnt);
    QVLOG("-readycnt: %d\n", s.readycnt);
    QVLOG("-motion_movement: %d\n", s.motion_movement);
    QVLOG("-motion_result: %d\n", s.motion_result);
    QVLOG("-uncanceled: %f %f %f\n", s.uncanceled[0], s.uncanceled[1], s.uncanceled[2]);
    QVLOG("-canceled: %f %f %f\n", s.canceled[0], s.canceled[1], s.canceled[2]);
}

void qvhcal_disp_bak(const qvhcal_bak *bak, int32_t enable)
{
    if (enable == 0)
        return;
    disp_bak_rlsm(bak, enable);
    disp_bak_status(&bak->status, enable);
    QVLOG_END();
}
