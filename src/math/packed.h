// Three-vectors in packed records lie at any address: they are moved as bytes, never through a pointer to double.
#pragma once

#include "math/qvcrd.h"

#include <cstring>

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
