/* Three-vectors, angles and standard deviations.
 *
 * Pure operations: no state, nothing written but the result. Pointers must not be null. Values carry the unit of their
 * arguments unless an angle is returned. An angle that does not exist is QV6D_NO_RESULT. */
#ifndef QV6D_MATH_QVCRD_H
#define QV6D_MATH_QVCRD_H

#include "platform/api.h"
#include "qv6dalgo.h"

typedef struct qvcrd_vec3
{
    double x, y, z;
} qvcrd_vec3;

/* Scalar first. */
typedef struct qvcrd_quat
{
    double w, x, y, z;
} qvcrd_quat;

static_assert(sizeof(qvcrd_vec3) == 24 && sizeof(qvcrd_quat) == 32, "vectors are copied as plain doubles");

/* 3.1416 in single precision. Every degree that the library publishes is radians * 180.0 / QVCRD_PI; the exact value
 * would move each of them. */
#define QVCRD_PI ((double)3.1416f)

/* Sets every component of v[0..n) to value; nothing when n <= 0. */
QV_API void qvcrd_assign(qvcrd_vec3 *v, int32_t n, double value);

/* Copies n vectors; nothing when n <= 0. The arrays must not overlap. */
QV_API void qvcrd_copy(qvcrd_vec3 *to, const qvcrd_vec3 *from, int32_t n);

QV_API qvcrd_vec3 qvcrd_sub(qvcrd_vec3 a, qvcrd_vec3 b);
QV_API qvcrd_vec3 qvcrd_sum(qvcrd_vec3 a, qvcrd_vec3 b);
QV_API qvcrd_vec3 qvcrd_scalar(qvcrd_vec3 a, double s);
QV_API qvcrd_vec3 qvcrd_cross(qvcrd_vec3 a, qvcrd_vec3 b);

/* x² + y² + z². */
QV_API double qvcrd_norm_square(double x, double y, double z);

/* Heading of (v.x, v.y) for a device that lies level, degrees: 0 along +y, growing as v turns towards -x. Lies within
 * [0, 360); rounding can give 360.0 itself, and exact north is -0.0. */
QV_API double qvcrd_get_yaw(const qvcrd_vec3 *v);

/* (azimuth, pitch, roll) in degrees from acceleration a (any unit, pointing up at rest) and magnetic field m.
 * Azimuth within [0, 360], tilt-compensated; pitch within [-180, 180], beyond ±90 for a device that lies face down;
 * roll within [-90, 90]. No result when a is zero. */
QV_API qvcrd_vec3 qvcrd_get_orientation(const qvcrd_vec3 *a, const qvcrd_vec3 *m);

/* Magnetic inclination (dip), radians: 1.5705 less the acute angle between the lines of a and m. No result when either
 * vector is zero; NaN when rounding takes the sine of a right angle above 1. */
QV_API double qvcrd_get_inclination(qvcrd_vec3 a, qvcrd_vec3 m);

/* Population standard deviation (divisor n); -1.0 when n < 2. */
QV_API double flt_get_stdev(const double *values, int32_t n);

/* The same for each axis of n vectors; (-1, -1, -1) when n <= 0. */
QV_API qvcrd_vec3 qvcrd_get_stdev(const qvcrd_vec3 *v, int32_t n);

#endif
