// The yardstick: a textbook accelerometer and magnetometer triad, without any learning, filtering or grading.
#pragma once

#include "math/qvcrd.h"

namespace bench
{

// Rows east, north, up of the attitude. One out-of-line call, like a step of the library.
struct attitude
{
    qvcrd_vec3 east, north, up;
};

__attribute__((noinline)) void triad(const qvcrd_vec3 &acc, const qvcrd_vec3 &field, attitude *result);

} // namespace bench
