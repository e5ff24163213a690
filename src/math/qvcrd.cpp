#include "math/qvcrd.h"

#include "math/angles.h"
#include "math/vec3.h"

#include <cmath>
#include <cstring>

void qvcrd_assign(qvcrd_vec3 *v, int32_t n, double value)
{
    for (int32_t i = 0; i < n; ++i)
        v[i] = {value, value, value};
}

void qvcrd_copy(qvcrd_vec3 *to, const qvcrd_vec3 *from, int32_t n)
{
    if (n > 0)
        std::memcpy(to, from, static_cast<std::size_t>(n) * sizeof *to);
}

qvcrd_vec3 qvcrd_sub(qvcrd_vec3 a, qvcrd_vec3 b)
{
    return a - b;
}

qvcrd_vec3 qvcrd_sum(qvcrd_vec3 a, qvcrd_vec3 b)
{
    return a + b;
}

qvcrd_vec3 qvcrd_scalar(qvcrd_vec3 a, double s)
{
    return {a.x * s, a.y * s, a.z * s};
}

qvcrd_vec3 qvcrd_cross(qvcrd_vec3 a, qvcrd_vec3 b)
{
    return cross(a, b);
}

double qvcrd_norm_square(double x, double y, double z)
{
    return norm_square({x, y, z});
}

double qvcrd_get_yaw(const qvcrd_vec3 *v)
{
    return yaw_degrees(*v);
}

qvcrd_vec3 qvcrd_get_orientation(const qvcrd_vec3 *a, const qvcrd_vec3 *m)
{
    return orientation_degrees(*a, *m, false);
}

double qvcrd_get_inclination(qvcrd_vec3 a, qvcrd_vec3 m)
{
    return inclination(a, m);
}

double flt_get_stdev(const double *values, int32_t n)
{
    if (n < 2)
        return -1.0;

    double sum = 0.0;
    for (int32_t i = 0; i < n; ++i)
        sum += values[i];
    const double mean = sum / n;

    double squares = 0.0;
    for (int32_t i = 0; i < n; ++i)
        squares += (mean - values[i]) * (mean - values[i]);
    return std::sqrt(squares / n);
}

qvcrd_vec3 qvcrd_get_stdev(const qvcrd_vec3 *v, int32_t n)
{
    if (n <= 0)
        return {-1.0, -1.0, -1.0};

    qvcrd_vec3 sum = {};
    for (int32_t i = 0; i < n; ++i)
        sum = sum + v[i];
    const qvcrd_vec3 mean = {sum.x / n, sum.y / n, sum.z / n};

    qvcrd_vec3 squares = {};
    for (int32_t i = 0; i < n; ++i)
    {
        const qvcrd_vec3 d = mean - v[i];
        squares = squares + qvcrd_vec3{d.x * d.x, d.y * d.y, d.z * d.z};
    }
    return {std::sqrt(squares.x / n), std::sqrt(squares.y / n), std::sqrt(squares.z / n)};
}
