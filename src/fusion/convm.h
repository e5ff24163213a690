/* Rotation conversions, for callers outside the library.
 *
 * A quaternion is a 4 x 1 matrix, scalar first; a direction-cosine matrix is 3 x 3 and maps reference-frame vectors
 * into the rotated frame. Nothing is normalised: the formulas assume unit length. int32_t results: 0 success, -1
 * failure, the output then being partly written. Pointers must not be null. (See e.g. M. D. Shuster, A Survey of
 * Attitude Representations, J. Astronaut. Sci. 41 (4), 1993.) */
#ifndef QV6D_FUSION_CONVM_H
#define QV6D_FUSION_CONVM_H

#include "math/qvcrd.h"
#include "math/qvmtx.h"
#include "platform/api.h"

/* Quaternion q to direction-cosine matrix. */
QV_API int32_t convm_qs2dc(qvmtx *dc, const qvmtx *q);

/* Direction-cosine matrix to quaternion. The component of the largest candidate comes out positive. q keeps its
 * dimensions: the caller provides 4 x 1. -1 when dc has dimensions outside 0..4, a trace of QV6D_NO_RESULT or
 * a largest candidate of exactly 0.0; a matrix that is no rotation can also give 0 and a q of NaN. */
QV_API int32_t convm_dc2qs(qvmtx *q, const qvmtx *dc);

/* Acceleration and magnetic field, in any unit, to quaternion. -1 when their cross product is exactly zero; vectors
 * that are parallel but for rounding give an arbitrary attitude. */
QV_API int32_t convm_am2qs(qvmtx *q, qvcrd_vec3 acc, qvcrd_vec3 field);

/* The matrix S with S * w = v x w, from rows 0 to 2 of column 0 of v. */
QV_API int32_t convm_vec2prdt(qvmtx *s, const qvmtx *v);

/* p = p * (1, r0, r1, r2), Hamilton product: a turn by the small rotation 2 r, radians, to first order. */
QV_API int32_t mulm_quaternion(qvmtx *p, const qvmtx *r);

#endif
