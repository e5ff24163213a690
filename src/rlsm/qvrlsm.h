/* Sphere fit: the hard-iron offset as the centre of the sphere on which the field samples lie.
 *
 * A sample m on a sphere of centre c and radius r satisfies |m|² = 2 c.m + d with d = r² - |c|², which is linear in
 * x = (c1, c2, c3, d). qvrlsm_update solves it recursively with exponential forgetting (recursive least squares,
 * e.g. L. Ljung, System Identification, 2nd ed., ch. 11.2), qvrlsm_lsm in one batch (linear sphere fit, e.g.
 * T. Ozyagcilar, "Calibrating an eCompass in the presence of hard- and soft-iron interference", 2012).
 *
 * Pointers must not be null. Samples, offsets and radii are microtesla. int32_t results: 0 success, -1 failure. */
#ifndef QV6D_RLSM_QVRLSM_H
#define QV6D_RLSM_QVRLSM_H

#include "math/qvcrd.h"
#include "math/qvmaf.h"
#include "platform/api.h"

/* Sub-section hcal.rlsm of the configuration record. */
typedef struct QV_PACKED qvrlsm_cfg
{
    int32_t endbg;       /* debug log on when not 0 */
    double pcal0;        /* scale of the initial covariance */
    double pcal1;        /* initial covariance of the three offset terms, before scaling */
    double pcal2;        /* initial covariance of the fourth term, before scaling */
    double w;            /* forgetting weight; the forgetting factor is w²; 0 stops the estimator */
    double rn;           /* measurement noise */
    double stdev;        /* microtesla; stable below this scatter, and within 3 times this band */
    int32_t routmafsize; /* results judged for stability, 0..40; 0 is never stable */
} qvrlsm_cfg;

/* Part rlsm of the backup record: all that the estimator remembers. */
typedef struct QV_PACKED qvrlsm_bak
{
    double x[4];      /* state vector (c1, c2, c3, d) */
    double p[4][4];   /* covariance of x */
    double offset[3]; /* centre after the last successful step */
    double radius;    /* radius after the last successful step; can be NaN */
    int32_t stabled;  /* 1 when the last successful step found the fit settled */
    int32_t runlevel; /* QVRLSM_RUNLEVEL_*; a restored value can be anything */
} qvrlsm_bak;

static_assert(sizeof(qvrlsm_cfg) == 56, "sub-section rlsm is bytes 400 to 455 of the configuration record");
static_assert(sizeof(qvrlsm_bak) == 200, "part rlsm is bytes 0 to 199 of the backup record");

#define QVRLSM_RUNLEVEL_FRESH 0    /* not seeded */
#define QVRLSM_RUNLEVEL_SEEDED 1   /* seeded from a batch fit, nothing accepted yet */
#define QVRLSM_RUNLEVEL_ACCEPTED 2 /* an estimate was accepted since seeding */

/* Samples that a batch fit takes. */
#define QVRLSM_LSM_MAX 40

typedef struct qvrlsm_state
{
    qvrlsm_cfg cfg;
    qvrlsm_bak bak;
    qvmaf routmaf; /* the last published offsets and radii; not saved */
} qvrlsm_state;

/* Writes the defaults and returns the section. */
QV_API qvrlsm_cfg *qvrlsm_get_default_cfg(qvrlsm_cfg *cfg);

/* Writes the values of an estimator that has seen nothing. */
QV_API void qvrlsm_get_bak(qvrlsm_bak *bak, const qvrlsm_cfg *cfg);

/* Logs the section when enable is not 0. */
QV_API void qvrlsm_disp_cfg(const qvrlsm_cfg *cfg, int32_t enable);

/* Takes over configuration and estimator, with routmafsize limited to 0..40 so that the window and the test for a full
 * one agree, and empties the window. Returns 0. */
QV_API int32_t qvrlsm_init(qvrlsm_state *state, const qvrlsm_cfg *cfg, const qvrlsm_bak *bak);

/* Back to fresh values and an empty window. */
QV_API void qvrlsm_clear(qvrlsm_state *state);

/* Does nothing. */
QV_API void qvrlsm_free(qvrlsm_state *state);

/* One recursive step with the sample (m1, m2, m3). -1 with the state unchanged when the gain's denominator or w is 0,
 * or the result would hold a NaN. A step that is not stable still succeeds. */
QV_API int32_t qvrlsm_update(qvrlsm_state *state, double m1, double m2, double m3);

/* Pushes the last result into the window and judges whether the fit has settled; sets stabled. Returns stabled. */
QV_API int32_t update_stabled_status(qvrlsm_state *state);

/* Batch fit of samples[count]: writes x of the result and nothing else. -1 with x unchanged when a pivot of the normal
 * matrix is exactly 0.0 (no samples, or too few directions) or count is above QVRLSM_LSM_MAX. Samples that nearly lie
 * in a plane succeed with values of any size. */
QV_API int32_t qvrlsm_lsm(qvrlsm_state *result, const qvcrd_vec3 *samples, int32_t count);

QV_API qvcrd_vec3 qvrlsm_get_offset(const qvrlsm_state *state);
QV_API double qvrlsm_get_radius(const qvrlsm_state *state);
QV_API int32_t qvrlsm_get_stabled(const qvrlsm_state *state);
QV_API int32_t qvrlsm_get_runlevel(const qvrlsm_state *state);
QV_API void qvrlsm_set_runlevel(qvrlsm_state *state, int32_t runlevel);

#endif
