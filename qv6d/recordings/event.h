// What a recording consists of.
#pragma once

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

constexpr const char *name(sensor kind)
{
    switch (kind)
    {
    case sensor::acc:
        return "acc";
    case sensor::gyr:
        return "gyr";
    case sensor::mag:
        return "mag";
    case sensor::bias:
        break;
    }
    return "bias";
}

struct event
{
    std::int64_t t_ns;
    sensor kind;
    float x, y, z;
};

} // namespace qv6d
