/* Hard-iron calibration: learns the magnetometer's offset while the device is being turned, and grades it.
 *
 * One cycle per field sample (qvhcal_update): buffer, classify the movement, fit a sphere to a buffer that is worth it,
 * publish, smooth, grade. One instance only: the smoother keeps its vectors for the process. The state is zero before
 * its first initialisation. Fields, offsets and radii are microtesla. Pointers must not be null where nothing else is
 * said. */
#ifndef QV6D_HCAL_QVHCAL_H
#define QV6D_HCAL_QVHCAL_H

#include "math/qvcrd.h"
#include "math/qvmaf.h"
#include "motion/qvmotion.h"
#include "platform/api.h"
#include "qv6dalgo.h"
#include "rlsm/qvrlsm.h"

#define QVHCAL_RBUF_MAX 40 /* samples */

/* microtesla; the earth's field stays below 67, so a larger sphere is a disturbance. */
#define QVHCAL_RADIUS_MAX 70.0

/* Section hcal of the configuration record. */
typedef struct QV_PACKED qvhcal_cfg
{
    int32_t endbg;      /* debug log on when not 0 */
    int32_t rbufsize;   /* samples of a full buffer, at most 40; 0 switches the calibration off; below 0 nothing is ever
                           fitted */
    int32_t cmafsize;   /* carried and displayed only */
    int32_t amafsize;   /* samples averaged for grading; below 2 none are */
    double accuracy[3]; /* microtesla; [i] is the bound below which grade i + 1 is reached */
    int32_t rdummycnt;  /* READY buffers discarded after a clear */
    int32_t readycnt;   /* READY buffers before an offset is validated */
    double rinclination; /* degrees; polar-angle limit of the grading */
    double enhthr;       /* carried and displayed only */
    qvmotion_cfg motion;
    qvrlsm_cfg rlsm;
    int32_t incmask;    /* QV6D_POLICY_*; the polar angle that lowers a grade is rinclination */
    double clearradius; /* microtesla; distance limit of the one check after initialisation */
} qvhcal_cfg;

/* Part hcal status of the backup record. A restored integer can be anything. */
typedef struct QV_PACKED qvhcal_status
{
    int32_t calibrated;   /* 1 once an offset has been validated */
    double rep_offset[3]; /* published hard-iron offset */
    double rep_radius;    /* published sphere radius */
    int32_t rep_accuracy; /* published grade, QV6D_GRADE_* */
    int32_t dummycnt;     /* READY buffers still to be discarded */
    int32_t readycnt;     /* READY buffers fitted since the last clear, at most cfg.readycnt; from -2 when that is 0 */
    int32_t motion_movement; /* qvmotion_movement of the last cycle */
    int32_t motion_result; /* qvmotion_result of the last cycle: NOISE2 while the buffer fills, UNKNOWN for a discarded
                              READY */
    double uncanceled[3];  /* field of the last cycle */
    double canceled[3];    /* the same without the offset, smoothed */
    double enholicoff[3];  /* enhanced offset: every cycle sets it to zero */
} qvhcal_status;

/* What the module keeps in the backup record. */
typedef struct QV_PACKED qvhcal_bak
{
    qvrlsm_bak rlsm;
    qvhcal_status status;
} qvhcal_bak;

static_assert(sizeof(qvhcal_cfg) == 176, "section hcal is bytes 292 to 467 of the configuration record");
static_assert(sizeof(qvhcal_status) == 128, "part hcal status is bytes 200 to 327 of the backup record");

typedef struct qvhcal_state
{
    qvhcal_cfg cfg;
    qvhcal_status status;
    qvmotion_state motion;
    qvrlsm_state rlsm;
    int32_t rbufcnt;                  /* valid samples in rbuf */
    qvcrd_vec3 rbuf[QVHCAL_RBUF_MAX]; /* newest first */
    qvmaf amaf;                       /* field norm and polar angle */
    int32_t clearchecked;             /* 1 once the clear-radius check has run */
} qvhcal_state;

/* Writes the defaults, sub-sections included. */
QV_API void qvhcal_get_default_cfg(qvhcal_cfg *cfg);

/* Writes the backup of a calibration that has seen nothing. */
QV_API void qvhcal_get_bak(qvhcal_bak *bak, const qvhcal_cfg *cfg);

/* Takes over configuration and backup; an rbufsize above 40 counts as 40. Returns 0; -1 with one error line and the
 * state untouched when a pointer is null. */
QV_API int32_t qvhcal_init(qvhcal_state *state, const qvhcal_cfg *cfg, const qvhcal_bak *bak);

/* Starts the calibration over. The last published offset and field stay published; the newest sample becomes the first
 * of the next buffer. */
QV_API void qvhcal_clear(qvhcal_state *state);

/* Does nothing: the storage saves the status. */
QV_API void qvhcal_term(qvhcal_state *state);

/* One cycle with the field (x, y, z), soft iron removed. gyrlevel 0 means that no axis turns faster than gyrthr; gyrthr
 * 0.0 judges movement without it. Returns 0 when this cycle validated an offset or rbufsize is 0, otherwise -1. */
QV_API int32_t qvhcal_update(qvhcal_state *state, int32_t gyrlevel, double x, double y, double z, double gyrthr);

QV_API qvcrd_vec3 qvhcal_get_offset(const qvhcal_state *state);
QV_API double qvhcal_get_radius(const qvhcal_state *state);
QV_API int32_t qvhcal_get_accuracy(const qvhcal_state *state);
QV_API qvcrd_vec3 qvhcal_get_canceled(const qvhcal_state *state);
QV_API qvcrd_vec3 qvhcal_get_uncanceled(const qvhcal_state *state);
QV_API qvcrd_vec3 qvhcal_get_enholicoff(const qvhcal_state *state);

/* Log configuration and backup when enable is not 0. */
QV_API void qvhcal_disp_cfg(const qvhcal_state *state, int32_t enable);
QV_API void qvhcal_disp_bak(const qvhcal_bak *bak, int32_t enable);
QV_API void disp_bak_rlsm(const qvhcal_bak *bak, int32_t enable);
QV_API void disp_bak_status(const qvhcal_status *status, int32_t enable);

/* Steps of the cycle. */

/* Puts a sample in front of rbuf; the oldest of a full buffer falls off. */
QV_API void push_rawuT(qvhcal_state *state, double x, double y, double z);

/* Fits a sphere to a full rbuf: thins it to samples more than 3 microtesla apart, seeds the recursive estimator from a
 * batch fit when it has no seed, feeds it. 0 when the estimate is accepted; -1 when the buffer is not full, fewer than
 * 5 samples are left, the batch fit fails, the estimator is not stable or the radius exceeds 70 microtesla. The outputs
 * may be written even then, and the last two come after the estimator was fed. */
QV_API int32_t estimate_offset(qvhcal_state *state, qvcrd_vec3 *offset, double *radius);

/* Validates an estimate: copies it to the outputs, sets calibrated and returns 0 once enough READY buffers were seen;
 * otherwise returns -1 and changes nothing. */
QV_API int32_t get_valid_offset(qvhcal_state *state, qvcrd_vec3 *valid_offset, double *valid_radius, qvcrd_vec3 offset,
                                double radius);

/* The grade, QV6D_GRADE_*. Before an offset is validated it tells how far the sequence of READY buffers has come; after
 * that, how near the averaged norm of the offset-removed, smoothed field is to the published radius, with hysteresis.
 * The policy mask then changes it. Can clear the calibration. */
QV_API int32_t update_accuracy(qvhcal_state *state, qvcrd_vec3 field);

/* Adaptive smoothing per axis: holds still while the input stays inside a learnt noise band, follows the faster the
 * longer it stays outside. state supplies the debug switch only. */
QV_API qvcrd_vec3 exponential_smothing(const qvhcal_state *state, double x, double y, double z);

/* Back to an unseeded smoother, as at load time. */
QV_API void exponential_init(void);

#endif
