// What the sensors of a moving device would say, the same bits on every machine: nothing but + - * / and sqrt, which
// are exact to the last bit, and integers.
#pragma once

#include "math/qvcrd.h"

#include <cstdint>

class random_source
{
public:
    explicit random_source(std::uint64_t seed) : state_(seed)
    {
    }

    // [low, high).
    double uniform(double low, double high)
    {
        return low + (high - low) * (static_cast<double>(next() >> 11) * 0x1p-53);
    }

    // 0 to n - 1.
    int32_t below(std::uint64_t n)
    {
        return static_cast<int32_t>(next() % n);
    }

    qvcrd_vec3 vector(double size)
    {
        const double x = uniform(-size, size), y = uniform(-size, size), z = uniform(-size, size);
        return {x, y, z};
    }

private:
    // A counter in steps of the golden ratio, its bits mixed by multiplications.
    std::uint64_t next()
    {
        state_ += 0x9E3779B97F4A7C15u;
        std::uint64_t z = state_;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
        return z ^ (z >> 31);
    }

    std::uint64_t state_;
};

enum class motion
{
    still,    // tilted, not moved
    level,    // lying flat, turned about the vertical
    tumble,   // turned by hand about all axes
    gestures, // two seconds turned, two seconds held
};

struct readings
{
    qvcrd_vec3 acc; // m/s²
    qvcrd_vec3 gyr; // rad/s
    qvcrd_vec3 mag; // microtesla, without hard iron
};

// 50 samples per second.
class device
{
public:
    device(motion how, std::uint64_t seed) : how_(how), random_(seed)
    {
    }

    readings next();

private:
    qvcrd_vec3 wanted_rate();

    motion how_;
    random_source random_;
    int sample_ = 0;
    qvcrd_vec3 target_ = {}, rate_ = {};                     // rad/s
    qvcrd_quat attitude_ = {0.8, 0.6 * 0.6, 0.0, 0.6 * 0.8}; // device to east, north, up
};
