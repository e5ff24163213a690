/* Motion classification: is the device being turned, and is a full sample buffer fit for an offset estimate?
 *
 * Pointers must not be null; the state is zero before its first initialisation. Samples are microtesla, newest first.
 */
#ifndef QV6D_MOTION_QVMOTION_H
#define QV6D_MOTION_QVMOTION_H

#include "math/qvcrd.h"
#include "platform/api.h"

/* Sub-section hcal.motion of the configuration record. */
typedef struct QV_PACKED qvmotion_cfg
{
    int32_t endbg;     /* debug log on when not 0 */
    double stdevmin;   /* microtesla; moving when every axis scatters at least this much */
    double stdevmax;   /* microtesla; noise when an axis scatters more */
    double senrate;    /* READY needs a pair of spans whose ratio is within 1 ± senrate */
    double sendiffmax; /* microtesla; noise when an axis spans more */
    double sendiffmin; /* microtesla; READY needs this span on every axis */
} qvmotion_cfg;

static_assert(sizeof(qvmotion_cfg) == 44, "sub-section motion is bytes 356 to 399 of the configuration record");

typedef enum qvmotion_movement
{
    QVMOTION_MOVEMENT__STABLE = 0,
    QVMOTION_MOVEMENT__MOVING = 1,
    QVMOTION_MOVEMENT__NOISE1 = 2 /* the field scatters too much; only without a gyroscope */
} qvmotion_movement;

typedef enum qvmotion_result
{
    QVMOTION_RESULT__UNKNOWN = 16, /* no movement seen, or not enough spread */
    QVMOTION_RESULT__READY = 17,   /* fit for an estimate */
    QVMOTION_RESULT__NOISE2 = 18   /* too much spread: magnetic disturbance */
} qvmotion_result;

typedef struct qvmotion_state
{
    qvmotion_cfg cfg;
    int32_t moving_cnt;              /* consecutive classifications with a positive weight, at most 32768 */
    int32_t stable_cnt;              /* consecutive classifications without, at most 32768 */
    int32_t moving_weight;           /* votes, -3..3 */
    qvcrd_vec3 moving_max;           /* extremes of the buffer judged last */
    qvcrd_vec3 moving_min;           /*                                     */
    int32_t motion_movement;         /* class in force */
    int32_t motion_movement_pending; /* 1 from a turn to MOVING until the turn back or a clear */
    int32_t motion_result;           /* last result but UNKNOWN for want of movement */
    int32_t motion_result_pending;   /* displayed, never changed */
} qvmotion_state;

/* Writes the defaults. */
QV_API void qvmotion_get_default_cfg(qvmotion_cfg *cfg);

/* Copies the section and clears. Returns 0. */
QV_API int32_t qvmotion_init(qvmotion_state *state, const qvmotion_cfg *cfg);

/* Forgets all votes and results. */
QV_API void qvmotion_clear(qvmotion_state *state);

/* Log configuration and state when enable is not 0. */
QV_API void qvmotion_disp_cfg(const qvmotion_state *state, int32_t enable);
QV_API void qvmotion_disp_status(const qvmotion_state *state, int32_t enable);

/* Votes on movement with samples[n], n at least 1, and returns the class in force. With gyrthr 0.0 the scatter of the
 * samples decides, otherwise gyrlevel (0: none of the axes turns). */
QV_API int32_t qvmotion_get_movement(qvmotion_state *state, const qvcrd_vec3 *samples, int32_t n, int32_t gyrlevel,
                                     double gyrthr);

/* Judges a full buffer samples[n]; returns a qvmotion_result. */
QV_API int32_t qvmotion_get_result(qvmotion_state *state, const qvcrd_vec3 *samples, int32_t n);

#endif
