// Three-vectors and rotations, double precision.
#pragma once

#include <cmath>

namespace qv6ds_math
{

struct vec
{
    double x = 0.0, y = 0.0, z = 0.0;
};

inline vec operator+(vec a, vec b)
{
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}

inline vec operator-(vec a, vec b)
{
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}

inline vec operator*(double s, vec v)
{
    return {s * v.x, s * v.y, s * v.z};
}

inline double dot(vec a, vec b)
{
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

inline vec cross(vec a, vec b)
{
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

inline double norm(vec v)
{
    return std::sqrt(dot(v, v));
}

// rad
inline double angle(vec a, vec b)
{
    return std::atan2(norm(cross(a, b)), dot(a, b));
}

inline bool is_finite(vec v)
{
    return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
}

// Row by row; turns a column vector.
struct matrix
{
    double at[3][3];
};

inline vec operator*(const matrix &m, vec v)
{
    return {m.at[0][0] * v.x + m.at[0][1] * v.y + m.at[0][2] * v.z,
            m.at[1][0] * v.x + m.at[1][1] * v.y + m.at[1][2] * v.z,
            m.at[2][0] * v.x + m.at[2][1] * v.y + m.at[2][2] * v.z};
}

// Hamilton's, unit length.
struct quaternion
{
    double w, x, y, z;
};

inline constexpr quaternion UNTURNED = {1.0, 0.0, 0.0, 0.0};

inline quaternion operator*(quaternion a, quaternion b)
{
    return {a.w * b.w - a.x * b.x - a.y * b.y - a.z * b.z, a.w * b.x + a.x * b.w + a.y * b.z - a.z * b.y,
            a.w * b.y - a.x * b.z + a.y * b.w + a.z * b.x, a.w * b.z + a.x * b.y - a.y * b.x + a.z * b.w};
}

inline quaternion conjugate(quaternion q)
{
    return {q.w, -q.x, -q.y, -q.z};
}

inline quaternion normalized(quaternion q)
{
    const double s = 1.0 / std::sqrt(q.w * q.w + q.x * q.x + q.y * q.y + q.z * q.z);
    return {q.w * s, q.x * s, q.y * s, q.z * s};
}

inline vec turned(quaternion q, vec v)
{
    const vec u = {q.x, q.y, q.z};
    const vec t = 2.0 * cross(u, v);
    return v + q.w * t + cross(u, t);
}

// By the rotation vector's length about its direction.
inline quaternion rotation(vec v)
{
    const double angle = norm(v);
    const double s = angle > 1e-9 ? std::sin(0.5 * angle) / angle : 0.5;
    return {std::cos(0.5 * angle), s * v.x, s * v.y, s * v.z};
}

// The rotation vector of a unit quaternion, no longer than pi.
inline vec rotation_vector(quaternion q)
{
    const vec v = {q.x, q.y, q.z};
    const double s = norm(v);
    const double angle = 2.0 * std::atan2(s, std::fabs(q.w));
    return (s > 1e-12 ? (q.w < 0.0 ? -angle : angle) / s : 2.0) * v;
}

} // namespace qv6ds_math
