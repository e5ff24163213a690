// What the grades of a calibration are called.
#pragma once

#include "qv6dalgo.h"

#include <array>

namespace qv6d
{

inline constexpr std::array<const char *, QV6D_GRADE_BEST + 1> GRADE_NAMES = {"unreliable", "low", "medium", "best"};

} // namespace qv6d
