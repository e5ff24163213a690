// When a device lies level: its azimuth is then its yaw.
#pragma once

#include "fusion/qvfusion.h"

#include <cmath>

inline bool lies_level(qvcrd_vec3 acc)
{
    constexpr double tolerance = 1.5; // m/s², of every axis from (0, 0, 1 g)
    return std::fabs(acc.x) < tolerance && std::fabs(acc.y) < tolerance &&
           std::fabs(acc.z - QVFUSION_GRAVITY) < tolerance;
}
