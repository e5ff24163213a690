// Days in the life of a simulated phone whose hard iron is known at every sample.
#pragma once

#include "qv6dalgo.h"
#include "simulation/motion_model.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <optional>

namespace soak
{

using Eigen::Quaterniond;
using Eigen::Vector3d;
using qv6d::motion;

inline constexpr std::int64_t RATE = 100;         // Hz, of each sensor
inline constexpr std::int64_t HOUR = 3600 * RATE; // samples
inline constexpr std::int64_t QUARTER = HOUR / 4; // samples

inline constexpr double PICK_UP = 1.5;   // s, from one attitude to the next
inline constexpr double MAG_NOISE = 2.0; // counts, standard deviation per axis
inline constexpr double DISTURBED = 0.5; // microtesla
inline const Vector3d UP(0.0, 0.0, qv6d::GRAVITY);
inline const Vector3d EARTH(0.0, 24.0, -41.57); // microtesla, east, north, up: 48 at a dip of 60 degrees

// What befalls the service.
enum class incident
{
    none,
    restart, // ended, and started again in a new process
    reinit,  // ended, and started again in the same process
    crash,   // started again in a new process without having been ended
};
inline constexpr incident BY_QUARTER[] = {incident::crash, incident::restart, incident::reinit, incident::restart};

struct habit
{
    motion how;
    double min, max; // s
};
inline constexpr habit HABITS[] = {
    {motion::still, 30.0, 300.0}, {motion::pocket, 30.0, 200.0}, {motion::walk, 20.0, 120.0},
    {motion::yaw, 10.0, 40.0},    {motion::tumble, 8.0, 30.0},   {motion::figure8, 15.0, 60.0},
};

struct moment
{
    std::int64_t k;           // number of the sample
    Vector3d acc, gyr, field; // m/s², rad/s, counts, as measured
    Vector3d offset;          // microtesla, the true hard iron
    bool upset;               // a magnet or a car door is near, or the offset jumped just now
    bool waved;               // in figures of eight
    incident service;
    bool gyroscope; // a service that starts now judges movement by it
};

// A field that comes and goes.
struct visit
{
    double start = 0.0, length = 1.0; // s
    Vector3d peak = Vector3d::Zero(); // microtesla

    Vector3d at(double t) const
    {
        const double nearness = std::sin(std::numbers::pi * std::clamp((t - start) / length, 0.0, 1.0));
        return peak * nearness * nearness;
    }
};

class day
{
public:
    explicit day(std::uint64_t seed) : random_(seed)
    {
        built_in_ = any_vector(50.0, 400.0);
        drift_ = any_vector(5.0, 5.0);
    }

    moment next()
    {
        t_ = static_cast<double>(k_) / RATE;
        if (k_ % QUARTER == 0)
            plan_quarter();
        if (t_ >= ends_)
            begin_habit();
        if (k_ == step_at_) // a clasp or a loudspeaker takes the place of what magnetised the phone before
            magnetised_ = any_vector(10.0, 150.0);

        moment m = {};
        m.k = k_;
        m.waved = how_ == motion::figure8;
        m.service = k_ == incident_at_ ? BY_QUARTER[k_ / QUARTER % 4] : incident::none;
        m.gyroscope = k_ / QUARTER % 16 == 1;
        measure(&m);
        ++k_;
        return m;
    }

private:
    // The length is drawn after the direction: compilers may choose the order of operands.
    Vector3d any_vector(double shortest, double longest)
    {
        const Vector3d direction = random_.normal_vector(1.0).normalized();
        return direction * random_.between(shortest, longest);
    }

    std::int64_t any_time_of_quarter()
    {
        return k_ + static_cast<std::int64_t>(random_.between(0.0, QUARTER));
    }

    void plan_quarter()
    {
        incident_at_ = any_time_of_quarter();
        const std::int64_t quarter = k_ / QUARTER % 8; // of two hours
        const double time = t_ + random_.between(0.0, 800.0);
        if (quarter == 1)
            magnet_ = {time, random_.between(4.0, 40.0), any_vector(30.0, 400.0)};
        if (quarter == 3)
            step_at_ = any_time_of_quarter();
        if (quarter == 5)
            door_ = {time, random_.between(2.0, 8.0), any_vector(10.0, 60.0)};
    }

    void begin_habit()
    {
        const habit &chosen = HABITS[static_cast<int>(random_.between(0.0, std::size(HABITS)))];
        how_ = chosen.how;
        motion_.emplace(how_, &random_);
        began_ = t_;
        ends_ = t_ + random_.between(chosen.min, chosen.max);
        from_ = before_;
        heading_ = Eigen::AngleAxisd(random_.between(0.0, 2.0 * std::numbers::pi), Vector3d::UnitZ());
    }

    Quaterniond attitude()
    {
        return from_.slerp(std::min((t_ - began_) / PICK_UP, 1.0), heading_ * motion_->attitude(t_ - began_));
    }

    void measure(moment *m)
    {
        const Quaterniond q = attitude(), to_device = q.conjugate();
        const Vector3d near = magnet_.at(t_), around = door_.at(t_); // the one moves with the device, the other stays
        m->upset = k_ == step_at_ || near.norm() + around.norm() > DISTURBED;
        m->offset = built_in_ + magnetised_ + drift_ * std::sin(2.0 * std::numbers::pi * t_ / 21600.0);
        m->acc = to_device * (UP + motion_->acceleration(t_ - began_)) + random_.normal_vector(qv6d::ACC_NOISE);
        m->gyr = qv6d::turn_rate(before_, q, 1.0 / RATE) + random_.normal_vector(qv6d::GYR_NOISE);
        const Vector3d total = to_device * (EARTH + around) + near + m->offset;
        m->field = (total / QV6D_MICROTESLA_PER_COUNT + random_.normal_vector(MAG_NOISE)).array().round();
        before_ = q;
    }

    qv6d::random_source random_;
    std::int64_t k_ = 0, incident_at_ = -1, step_at_ = -1;
    double t_ = 0.0, began_ = 0.0, ends_ = 0.0; // s
    visit magnet_, door_;
    motion how_ = motion::still;
    std::optional<qv6d::motion_model> motion_;
    Quaterniond heading_, from_, before_ = Quaterniond::Identity();
    Vector3d built_in_, drift_, magnetised_ = Vector3d::Zero(); // microtesla
};

} // namespace soak
