// Extremes of an empty buffer: beyond every field a magnetometer can report.
#pragma once

#include "math/qvcrd.h"

inline constexpr qvcrd_vec3 QVMOTION_NO_MAX = {-32768.0, -32768.0, -32768.0};
inline constexpr qvcrd_vec3 QVMOTION_NO_MIN = {32767.0, 32767.0, 32767.0};
