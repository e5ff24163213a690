// What the sensors of a moving device would say, the same bits on every machine: nothing but + - * / and sqrt, which
// are exact to the last bit, and integers.
#pragma once

#include "math/qvcrd.h"

#include <cmath>
#include <cstdint>

inline qvcrd_vec3 sum(qvcrd_vec3 a, qvcrd_vec3 b)
{
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}

inline qvcrd_vec3 scaled(qvcrd_vec3 a, double by)
{
    return {a.x * by, a.y * by, a.z * by};
}

inline qvcrd_vec3 cross(qvcrd_vec3 a, qvcrd_vec3 b)
{
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

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
    qvcrd_vec3 acc, gyr, mag; // m/s², rad/s, microtesla without hard iron
};

// 50 samples per second.
class device
{
public:
    device(motion how, std::uint64_t seed) : how_(how), random_(seed)
    {
        if (how == motion::level)
            attitude_ = {1.0, 0.0, 0.0, 0.0};
    }

    readings next()
    {
        rate_ = sum(rate_, scaled(sum(wanted_rate(), scaled(rate_, -1.0)), 0.15));
        turn(scaled(rate_, 0.02));
        ++sample_;
        const qvcrd_vec3 acc = sum(seen({0.0, 0.0, 9.81}), random_.vector(0.03));
        const qvcrd_vec3 gyr = sum(rate_, random_.vector(0.003));
        const qvcrd_vec3 mag = sum(seen({0.0, 24.0, -41.5692}), random_.vector(0.5)); // 60 degrees below the horizon
        return {acc, gyr, mag};
    }

private:
    qvcrd_vec3 wanted_rate()
    {
        if (sample_ % 25 == 0)
            target_ = random_.vector(4.0);
        if (how_ == motion::level)
            return {0.0, 0.0, target_.z};
        return how_ == motion::tumble || (how_ == motion::gestures && sample_ % 200 < 100) ? target_ : qvcrd_vec3{};
    }

    // By a small rotation vector, radians: a rational step, made a unit quaternion again.
    void turn(qvcrd_vec3 by)
    {
        const qvcrd_quat q = attitude_;
        const qvcrd_vec3 v = {q.x, q.y, q.z}, half = scaled(by, 0.5);
        const double w = q.w - (v.x * half.x + v.y * half.y + v.z * half.z);
        const qvcrd_vec3 u = sum(sum(v, scaled(half, q.w)), cross(v, half));
        const double n = std::sqrt(w * w + u.x * u.x + u.y * u.y + u.z * u.z);
        attitude_ = {w / n, u.x / n, u.y / n, u.z / n};
    }

    // A vector of the world as the device sees it.
    qvcrd_vec3 seen(qvcrd_vec3 v) const
    {
        const qvcrd_vec3 back = {-attitude_.x, -attitude_.y, -attitude_.z};
        const qvcrd_vec3 t = scaled(cross(back, v), 2.0);
        return sum(sum(v, scaled(t, attitude_.w)), cross(back, t));
    }

    motion how_;
    random_source random_;
    int sample_ = 0;
    qvcrd_vec3 target_ = {}, rate_ = {};                     // rad/s
    qvcrd_quat attitude_ = {0.8, 0.6 * 0.6, 0.0, 0.6 * 0.8}; // device to east, north, up
};
