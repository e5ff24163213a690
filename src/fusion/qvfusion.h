/* Orientation fusion: time stamp, quaternion and running inclination estimate, and the derived outputs.
 *
 * The update runs no filter: it stamps the time and resets the quaternion. The live part is the inclination. Pointers
 * must not be null where nothing else is said. Accelerations are m/s², fields microtesla, times seconds. */
#ifndef QV6D_FUSION_QVFUSION_H
#define QV6D_FUSION_QVFUSION_H

#include "math/qvcrd.h"
#include "platform/api.h"

/* m/s²; single precision: the tests for rest depend on it. */
#define QVFUSION_GRAVITY ((double)9.81f)

/* Section fusion of the configuration record. hz, gamma, ras, rms and rps are carried and displayed only. */
typedef struct QV_PACKED qvfusion_cfg
{
    int32_t endbg; /* debug log on when not 0 */
    double hz;
    double gamma;
    double ips; /* diagonal of the fresh ps */
    double ras;
    double rms;
    double rps;
    double inclination;        /* radians; start of the running estimate */
    double inclination_alpha;  /* weight of a new inclination, 0..1 */
    double inclination_acctol; /* m/s²; samples whose acceleration norm is farther from 9.81 are rejected */
} qvfusion_cfg;

/* Part fusion of the backup record. */
typedef struct QV_PACKED qvfusion_bak
{
    double ts;          /* seconds, time of the last update; -1.0 when fresh */
    double ps[3][3];    /* carried only */
    double xs[3];       /* carried only */
    double qs[4];       /* quaternion, scalar first */
    double inclination; /* radians, running estimate */
} qvfusion_bak;

static_assert(sizeof(qvfusion_cfg) == 76, "section fusion is bytes 468 to 543 of the configuration record");
static_assert(sizeof(qvfusion_bak) == 144, "part fusion is bytes 328 to 471 of the backup record");

/* Derived outputs. */
typedef struct qvfusion_data
{
    double rotv[4]; /* rotation vector: always 0.0 */
    double gyro[3]; /* virtual gyroscope: always 0.0 */
    double grav[3]; /* gravity: always 0.0 */
    double lina[3]; /* linear acceleration: always 0.0 */
    double ornt[3]; /* azimuth, pitch, roll, degrees */
} qvfusion_data;

typedef struct qvfusion_state
{
    qvfusion_cfg cfg;
    qvfusion_bak bak;
    int32_t initialised; /* 1 after a successful qvfusion_init; never reset */
    qvfusion_data data;  /* outputs of the last step */
} qvfusion_state;

/* What the outputs are derived from. */
typedef struct qvfusion_sample
{
    double time; /* seconds */
    qvcrd_quat quat;
    qvcrd_vec3 acc; /* filtered */
    qvcrd_vec3 field;
} qvfusion_sample;

/* Writes the defaults and returns the section. */
QV_API qvfusion_cfg *qvfusion_get_default_cfg(qvfusion_cfg *cfg);

/* Writes the backup of a module that has seen nothing and returns it. */
QV_API qvfusion_bak *qvfusion_get_bak(qvfusion_bak *bak, const qvfusion_cfg *cfg);

/* Takes over configuration and backup. A zero hz or gamma of the section given, not of the copy, then becomes its
 * default. Returns 0; -1 with one error line and the state untouched when a pointer is null. */
QV_API int32_t qvfusion_init(qvfusion_state *state, qvfusion_cfg *cfg, const qvfusion_bak *bak);

/* Back to a fresh backup. */
QV_API void qvfusion_clear(qvfusion_state *state);

/* Stamps the time and resets the quaternion to (-1, 0, 0, 0); acc and field are not used. Returns 0. */
QV_API int32_t qvfusion_update(qvfusion_state *state, double time, qvcrd_vec3 acc, qvcrd_vec3 field);

/* Blends the inclination of the sample into the running estimate. Returns 1, or 0 when the acceleration's norm is too
 * far from gravity. A zero field blends in QV6D_NO_RESULT. An estimate of NaN stays NaN until
 * qvfusion_clear or a fresh start. */
QV_API int32_t qvfusion_update_inclination(qvfusion_state *state, qvcrd_vec3 acc, qvcrd_vec3 field);

/* Running inclination estimate, radians. */
QV_API double qvfusion_get_inclination(const qvfusion_state *state);

/* Outputs from the current sample; the previous one is not used. Azimuth, pitch and roll are QV6D_NO_RESULT when the
 * acceleration is zero. */
QV_API qvfusion_data qvfusion_get_fusion_data(const qvfusion_sample *current, const qvfusion_sample *previous);

/* Log section and backup when enable is not 0. */
QV_API void qvfusion_disp_cfg(const qvfusion_cfg *cfg, int32_t enable);
QV_API void qvfusion_disp_bak(const qvfusion_bak *bak, int32_t enable);

/* Empties the module's matrices. */
QV_API void qvfusion_free(void);

/* qvfusion_free; the state keeps its backup, to be saved. */
QV_API void qvfusion_term(qvfusion_state *state);

#endif
