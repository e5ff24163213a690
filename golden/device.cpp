#include "device.h"

#include <cmath>

static constexpr double SECONDS = 0.02;                          // per sample
static constexpr qvcrd_vec3 GRAVITY = {0.0, 0.0, 9.81};          // m/s²
static constexpr qvcrd_vec3 EARTH_FIELD = {0.0, 24.0, -41.5692}; // microtesla, 60 degrees below the horizon
static constexpr qvcrd_quat FLAT = {1.0, 0.0, 0.0, 0.0};

static constexpr int SAMPLES_PER_TARGET = 25, SAMPLES_PER_GESTURE = 200;
static constexpr double RATE_MAX = 4.0; // rad/s
static constexpr double ACC_NOISE = 0.03, GYR_NOISE = 0.003, MAG_NOISE = 0.5;

static qvcrd_vec3 sum(qvcrd_vec3 a, qvcrd_vec3 b)
{
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}

static qvcrd_vec3 scaled(qvcrd_vec3 a, double by)
{
    return {a.x * by, a.y * by, a.z * by};
}

static qvcrd_vec3 cross(qvcrd_vec3 a, qvcrd_vec3 b)
{
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

// q turned on by the small rotation vector `turn`, radians: a rational step, made a unit quaternion again.
static qvcrd_quat turned(qvcrd_quat q, qvcrd_vec3 turn)
{
    const qvcrd_vec3 v = {q.x, q.y, q.z}, half = scaled(turn, 0.5);
    const double w = q.w - (v.x * half.x + v.y * half.y + v.z * half.z);
    const qvcrd_vec3 u = sum(sum(v, scaled(half, q.w)), cross(v, half));
    const double n = std::sqrt(w * w + u.x * u.x + u.y * u.y + u.z * u.z);
    return {w / n, u.x / n, u.y / n, u.z / n};
}

// A vector of the world as the device sees it.
static qvcrd_vec3 seen(qvcrd_quat q, qvcrd_vec3 v)
{
    const qvcrd_vec3 back = {-q.x, -q.y, -q.z};
    const qvcrd_vec3 t = scaled(cross(back, v), 2.0);
    return sum(sum(v, scaled(t, q.w)), cross(back, t));
}

qvcrd_vec3 device::wanted_rate()
{
    if (sample_ % SAMPLES_PER_TARGET == 0)
        target_ = random_.vector(RATE_MAX);
    switch (how_)
    {
    case motion::tumble:
        return target_;
    case motion::gestures:
        return sample_ % SAMPLES_PER_GESTURE < SAMPLES_PER_GESTURE / 2 ? target_ : qvcrd_vec3{};
    case motion::level:
        return {0.0, 0.0, target_.z};
    case motion::still:
        break;
    }
    return {};
}

readings device::next()
{
    const qvcrd_vec3 wanted = wanted_rate();
    if (sample_++ == 0 && how_ == motion::level)
        attitude_ = FLAT;
    rate_ = sum(rate_, scaled(sum(wanted, scaled(rate_, -1.0)), 0.15));
    attitude_ = turned(attitude_, scaled(rate_, SECONDS));

    const qvcrd_vec3 acc = sum(seen(attitude_, GRAVITY), random_.vector(ACC_NOISE));
    const qvcrd_vec3 gyr = sum(rate_, random_.vector(GYR_NOISE));
    const qvcrd_vec3 mag = sum(seen(attitude_, EARTH_FIELD), random_.vector(MAG_NOISE));
    return {acc, gyr, mag};
}
