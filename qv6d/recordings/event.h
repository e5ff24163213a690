// What a recording consists of.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace qv6d
{

enum class sensor
{
    acc,  // m/s²
    gyr,  // rad/s
    mag,  // microtesla or counts
    bias, // microtesla: the platform's own hard-iron offset, in recordings that carry it. Never fed to the library.
};

inline constexpr std::array<const char *, 4> SENSOR_NAMES = {"acc", "gyr", "mag", "bias"};

constexpr const char *name(sensor kind)
{
    return SENSOR_NAMES[static_cast<std::size_t>(kind)];
}

struct event
{
    std::int64_t t_ns;
    sensor kind;
    float x, y, z;
};

} // namespace qv6d
