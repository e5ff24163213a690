// Units and constants of nature that several parts compute with.
#pragma once

#include <cstdint>
#include <numbers>

namespace qv6ds_math
{

inline constexpr int64_t SECOND = 1000000000; // ns
inline constexpr double SECONDS = 1e-9;       // of a nanosecond
inline constexpr double DEGREES = 180.0 / std::numbers::pi;
inline constexpr double GRAVITY = 9.81; // m/s²

} // namespace qv6ds_math
