/* The driver's own operations beside those of the public header: its two per-sample steps. */
#ifndef QV6D_ALGO_QVALGO_H
#define QV6D_ALGO_QVALGO_H

#include "math/qvcrd.h"
#include "platform/api.h"
#include "qv6dalgo.h"

/* Calibration step: removes soft iron from the field (microtesla), runs one calibration cycle and writes all of the
 * record but its reserved bytes. */
QV_API void qvalgo_update_hcal(qvalgo_hcal_out *out, qvcrd_vec3 field);

/* Fusion step with acceleration (m/s²), field (microtesla, soft and hard iron still in it) and time (s): filters the
 * acceleration, updates inclination and quaternion, derives the outputs and writes all of the record but its reserved
 * bytes. */
QV_API void qvalgo_update_fusion(qvalgo_fusion_out *out, qvcrd_vec3 acc, qvcrd_vec3 field, double time);

/* The new quaternion while acclevel is above 0, otherwise (1 - weight) * next + weight * previous, component by
 * component and not normalised. */
QV_API qvcrd_quat reweight_quat(int32_t acclevel, qvcrd_quat previous, qvcrd_quat next, double weight);

#endif
