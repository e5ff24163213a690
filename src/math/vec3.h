// Three-vectors inside the library: small helpers that are not part of its interface.
#pragma once

#include "math/qvcrd.h"

#include <cmath>
#include <cstring>

inline double norm(qvcrd_vec3 v)
{
    return std::sqrt(qvcrd_norm_square(v.x, v.y, v.z));
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
