// Small helpers for three-vectors inside the library, not part of its interface. They stand in a header so that the
// per-sample path meets arithmetic instead of calls across files.
#pragma once

#include "math/qvcrd.h"

#include <cmath>
#include <cstring>

inline qvcrd_vec3 operator+(qvcrd_vec3 a, qvcrd_vec3 b)
{
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}

inline qvcrd_vec3 operator-(qvcrd_vec3 a, qvcrd_vec3 b)
{
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}

inline double norm_square(qvcrd_vec3 v)
{
    return v.x * v.x + v.y * v.y + v.z * v.z;
}

inline double norm(qvcrd_vec3 v)
{
    return std::sqrt(norm_square(v));
}

inline qvcrd_vec3 cross(qvcrd_vec3 a, qvcrd_vec3 b)
{
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

inline double degrees(double radians)
{
    return radians * 180.0 / QVCRD_PI;
}

// Vectors in packed records lie at any address: they are moved as bytes, never through a pointer to double.
inline qvcrd_vec3 load_vec3(const void *from)
{
    qvcrd_vec3 v;
    std::memcpy(&v, from, sizeof v);
    return v;
}

inline void store_vec3(void *to, qvcrd_vec3 v)
{
    std::memcpy(to, &v, sizeof v);
}
