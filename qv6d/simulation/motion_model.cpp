#include "simulation/motion_model.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace qv6d
{

namespace
{

using Eigen::AngleAxisd;
using Eigen::Quaterniond;
using Eigen::Vector3d;

constexpr double TURN = 2.0 * std::numbers::pi; // radians
constexpr double YAW_RATE = 1.5;                // rad/s
constexpr double TUMBLE_RATE = 1.6;             // rad/s, amplitude of each wave
constexpr double STEP_MAX = 1e-3;               // s, of the integration of the tumble
constexpr double GESTURE_EVERY = 60.0;          // s
constexpr double GESTURE_AT = 20.0;             // s, within its minute
constexpr double GESTURE_LENGTH = 8.0;          // s
constexpr double GESTURE_GROWS = 1.0;           // s, and shrinks
constexpr double STEPS_HZ = 1.9;                // of a walker
constexpr double BOUNCE = 2.5;                  // m/s², amplitude, of a walker's step

Quaterniond turned(double yaw, double pitch, double roll)
{
    return AngleAxisd(yaw, Vector3d::UnitZ()) * AngleAxisd(pitch, Vector3d::UnitX()) *
           AngleAxisd(roll, Vector3d::UnitY());
}

// One figure in two seconds: tilted to the sides once, forth and back twice, while the arm turns slowly.
Quaterniond waved(double t, double amplitude)
{
    return turned(amplitude * 0.8 * std::sin(TURN * t / 7.0), amplitude * 0.9 * std::sin(TURN * t),
                  amplitude * 1.2 * std::sin(TURN * t / 2.0));
}

// Four figures in every minute, the first and the last smaller.
Quaterniond gestured(double t, double amplitude)
{
    const double since = std::fmod(t, GESTURE_EVERY) - GESTURE_AT;
    const double share = std::clamp(std::min(since, GESTURE_LENGTH - since) / GESTURE_GROWS, 0.0, 1.0);
    return waved(since, share * amplitude);
}

// The hand gives with every step and sways with every second one; the way bends slowly.
Quaterniond walked(double t)
{
    const double steps = TURN * STEPS_HZ * t;
    return turned(0.6 * std::sin(TURN * t / 37.0), 0.6 + 0.03 * std::sin(steps), 0.05 * std::sin(steps / 2.0));
}

// Upside down along the thigh, which swings once in two steps.
Quaterniond pocketed(double t)
{
    const double swing = std::sin(TURN * STEPS_HZ / 2.0 * t);
    return turned(0.6 * std::sin(TURN * t / 37.0) + 0.1 * swing, -1.4 + 0.4 * swing, 0.08 * swing);
}

} // namespace

motion_model::motion_model(motion how, random_source *random, double amplitude) : how_(how), amplitude_(amplitude)
{
    for (wave &w : waves_)
        w = {0.1 + 0.5 * random->uniform(), TURN * random->uniform()};
}

Quaterniond motion_model::attitude(double t)
{
    switch (how_)
    {
    case motion::tumble:
        return tumbled(t);
    case motion::figure8:
        return waved(t, amplitude_);
    case motion::gesture:
        return gestured(t, amplitude_);
    case motion::yaw:
        return Quaterniond(AngleAxisd(YAW_RATE * t, Vector3d::UnitZ()));
    case motion::walk:
        return walked(t);
    case motion::pocket:
        return pocketed(t);
    case motion::still:
        break;
    }
    return Quaterniond(AngleAxisd(0.3, Vector3d(1, 2, 3).normalized()));
}

Vector3d motion_model::acceleration(double t) const
{
    const bool walking = how_ == motion::walk || how_ == motion::pocket;
    return walking ? Vector3d(0.0, 0.0, BOUNCE * std::sin(TURN * STEPS_HZ * t)) : Vector3d::Zero();
}

double motion_model::wave::at(double t) const
{
    return std::sin(TURN * hz * t + phase);
}

Vector3d motion_model::tumble_rate(double t) const
{
    Vector3d rate;
    const wave *w = waves_;
    for (double &turn : rate)
    {
        turn = amplitude_ * TUMBLE_RATE * (w[0].at(t) + w[1].at(t));
        w += 2;
    }
    return rate;
}

// Each axis turns at a rate of two waves, integrated up to exactly t.
Quaterniond motion_model::tumbled(double t)
{
    const double from = tumbled_until_;
    const int steps = static_cast<int>(std::ceil((t - from) / STEP_MAX));
    for (int k = 0; k < steps; ++k)
    {
        const double step = (t - from) / steps;
        const Vector3d turn = tumble_rate(from + (k + 0.5) * step) * step;
        tumbled_ = (tumbled_ * Quaterniond(AngleAxisd(turn.norm(), turn.normalized()))).normalized();
    }
    tumbled_until_ = t;
    return tumbled_;
}

Vector3d turn_rate(const Quaterniond &from, const Quaterniond &to, double seconds)
{
    const AngleAxisd turn(from.conjugate() * to);
    return turn.axis() * (turn.angle() / seconds);
}

} // namespace qv6d
