/* Sensor environment: levels of gyroscope and acceleration, soft-iron compensation, smoothing.
 *
 * Pointers must not be null; the state is zero before its first initialisation. Fields are microtesla, accelerations
 * m/s². */
#ifndef QV6D_ENV_QVENV_H
#define QV6D_ENV_QVENV_H

#include "math/qvcrd.h"
#include "math/qvmaf.h"
#include "platform/api.h"
#include "qv6dalgo.h"

#define QVENV_PATH_SIZE 64 /* bytes of a path with its terminator */

/* Section env of the configuration record. */
typedef struct QV_PACKED qvenv_cfg
{
    int32_t endbg;                 /* debug log on when not 0 */
    double simtx[3][3];            /* soft-iron matrix, [row][column] */
    double accthr;                 /* m/s²; steady below this standard deviation; 0 switches the level off */
    double gyrthr;                 /* rad/s; 0: movement is judged without a gyroscope */
    double aweight;                /* share of the previous quaternion kept while steady, 0..1 */
    char custcfg[QVENV_PATH_SIZE]; /* customer configuration file */
    char cfgbak[QVENV_PATH_SIZE];  /* configuration backup file */
    char datbak[QVENV_PATH_SIZE];  /* data backup file */
} qvenv_cfg;

static_assert(sizeof(qvenv_cfg) == 292, "section env is bytes 0 to 291 of the configuration record");

typedef struct qvenv_state
{
    qvenv_cfg cfg;
    int32_t acclevel;  /* 0 steady; 15 while the filter fills or accthr is 0; 60 after movement, then down */
    uint32_t gyrlevel; /* bit 0 x, bit 1 y, bit 2 z turns faster than gyrthr */
    qvmaf acc;         /* window 15, m/s² */
    qvmaf mag;         /* window 15, microtesla */
    qvmaf quat;        /* window 10 */
} qvenv_state;

/* Writes the defaults. Returns 0. */
QV_API int32_t qvenv_get_default_cfg(qvenv_cfg *cfg);

/* Logs the section when enable is not 0. */
QV_API void qvenv_disp_cfg(const qvenv_cfg *cfg, int32_t enable);

/* Copies the section and empties the filters; the levels keep their values across a new initialisation. Returns 0. */
QV_API int32_t qvenv_init(qvenv_state *state, const qvenv_cfg *cfg);

/* Does nothing. */
QV_API void qvenv_term(qvenv_state *state);

QV_API double qvenv_get_gyrthr(const qvenv_state *state);
QV_API double qvenv_get_accthr(const qvenv_state *state);
QV_API uint32_t qvenv_get_gyrlevel(const qvenv_state *state);
QV_API int32_t qvenv_get_acclevel(const qvenv_state *state);

/* Sets the gyroscope level from a sample in rad/s. A component counts with its sign: a turn in the negative direction
 * never sets its bit. */
QV_API void qvenv_update_gyrlevel(qvenv_state *state, const double sample[3]);

/* Sets the acceleration level from the samples in the acceleration filter. */
QV_API void qvenv_update_acclevel(qvenv_state *state);

/* The field as a row vector times the soft-iron matrix. */
QV_API qvcrd_vec3 qvenv_compensate_softiron(const qvenv_state *state, qvcrd_vec3 field);

/* Push into the filter named and return the new mean. */
QV_API qvcrd_vec3 qvenv_filtering_acc(qvenv_state *state, qvcrd_vec3 acc);
QV_API qvcrd_vec3 qvenv_filtering_mag(qvenv_state *state, qvcrd_vec3 field);
QV_API qvcrd_quat qvenv_filtering_quat(qvenv_state *state, qvcrd_quat quat);

/* Takes a sample of another sensor: QV6D_SENSOR_GYROSCOPE sets the gyroscope level, other types are only logged.
 * timestamp is only logged. */
QV_API void qvenv_notify_data(qvenv_state *state, int32_t type, const double data[3], double timestamp);

#endif
