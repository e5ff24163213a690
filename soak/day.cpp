#include "day.h"

#include <cmath>
#include <numbers>

namespace soak
{

namespace
{

using Eigen::AngleAxisd;
using Eigen::Quaterniond;
using Eigen::Vector3d;
using qv6d::motion;

constexpr double TURN = 2.0 * std::numbers::pi; // radians
constexpr int WAKES = 7, SLEEPS = 23;           // o'clock; the first hour is that of waking
constexpr int GYROSCOPE_HOURS = 4;              // every so many hours the gyroscope is used for a while
constexpr double PICK_UP = 1.5;                 // s, from one attitude to the next
constexpr double MAG_NOISE = 2.0;               // counts, standard deviation per axis
constexpr double COUNT = 0.15;                  // microtesla
const Vector3d UP(0.0, 0.0, qv6d::GRAVITY);
const Vector3d EARTH(0.0, 24.0, -41.57); // microtesla, east, north, up: 48 at a dip of 60 degrees

struct habit
{
    activity what;
    motion how;
    double weight;   // how often it is begun
    double min, max; // s
};

constexpr habit BY_DAY[] = {
    {activity::table, motion::still, 3.0, 60.0, 600.0}, {activity::pocket, motion::pocket, 2.0, 60.0, 400.0},
    {activity::walk, motion::walk, 3.0, 30.0, 180.0},   {activity::spin, motion::yaw, 2.0, 10.0, 40.0},
    {activity::turn, motion::tumble, 4.0, 8.0, 30.0},   {activity::wave, motion::figure8, 6.0, 10.0, 30.0},
};
constexpr habit BY_NIGHT = {activity::table, motion::still, 1.0, 600.0, 3600.0};

const habit &any_habit(double pick)
{
    double total = 0.0;
    for (const habit &h : BY_DAY)
        total += h.weight;
    double left = pick * total;
    const habit *chosen = BY_DAY;
    for (; left >= chosen->weight; ++chosen)
        left -= chosen->weight;
    return *chosen;
}

double smooth_step(double x)
{
    return x <= 0.0 ? 0.0 : x >= 1.0 ? 1.0 : x * x * (3.0 - 2.0 * x);
}

Quaterniond about(const Vector3d &axis, double angle)
{
    return Quaterniond(AngleAxisd(angle, axis));
}

} // namespace

day::day(std::uint64_t seed) : random_(seed)
{
    built_in_ = any_vector(50.0, 400.0);
    by_day_ = any_vector(4.0, 4.0);
    by_use_ = any_vector(1.5, 1.5);
}

// The length is drawn after the direction: compilers may choose the order of operands.
Vector3d day::any_vector(double shortest, double longest)
{
    const Vector3d direction = random_.normal_vector(1.0).normalized();
    return direction * random_.between(shortest, longest);
}

Vector3d day::visit::at(double t) const
{
    return peak * (smooth_step((t - start) / rise) - smooth_step((t - start - rise - stay) / rise));
}

day::visit day::any_visit(double longest, double weakest, double strongest)
{
    return {t_ + random_.between(0.0, 3500.0), random_.between(0.5, 3.0), random_.between(1.0, longest),
            any_vector(weakest, strongest)};
}

void day::plan_hour()
{
    const auto hour = static_cast<int>(k_ / HOUR);
    const int clock = (WAKES + hour) % 24;
    night_ = clock < WAKES || clock >= SLEEPS;
    gyroscope_hour_ = !night_ && hour % GYROSCOPE_HOURS == 0;
    incident_at_.fill(-1);
    step_at_ = -1;
    if (night_)
        return;

    const auto within = [this](std::int64_t from, std::int64_t length)
    { return from + static_cast<std::int64_t>(random_.uniform() * static_cast<double>(length)); };
    if (hour % 2 == 0)
    {
        magnet_ = any_visit(30.0, 30.0, 400.0);
        step_at_ = within(k_, HOUR);
    }
    else
        door_ = any_visit(3.0, 10.0, 60.0);
    std::int64_t quarter = k_;
    for (std::int64_t &at : incident_at_)
    {
        at = within(quarter, HOUR / 4);
        quarter += HOUR / 4;
    }
}

void day::begin_activity()
{
    const habit &chosen = night_ ? BY_NIGHT : any_habit(random_.uniform());
    from_ = before_;
    doing_ = chosen.what;
    motion_.emplace(chosen.how, &random_);
    began_ = t_;
    ends_ = t_ + random_.between(chosen.min, chosen.max);
    heading_ = about(Vector3d::UnitZ(), random_.between(0.0, TURN));
    pose_ = Quaterniond::Identity();
    if (doing_ == activity::table) // on its back, on its side or on its face
        pose_ = about(Vector3d::UnitY(), std::floor(random_.between(0.0, 3.0)) * TURN / 4.0);
}

// What the phone is magnetised by, a clasp or a loudspeaker, takes the place of what it was magnetised by before.
bool day::step_offset()
{
    if (k_ != step_at_)
        return false;
    magnetised_ = any_vector(10.0, 150.0);
    return true;
}

incident day::next_incident()
{
    constexpr incident by_quarter[] = {incident::crash, incident::restart, incident::reinit, incident::restart};
    for (std::size_t quarter = 0; quarter < incident_at_.size(); ++quarter)
        if (k_ == incident_at_[quarter])
        {
            gyroscope_ = gyroscope_hour_ && quarter == 1;
            return by_quarter[quarter];
        }
    return incident::none;
}

Quaterniond day::attitude() const
{
    return t_ - began_ >= PICK_UP ? moved_ : from_.slerp(smooth_step((t_ - began_) / PICK_UP), moved_);
}

// Warmth moves the offset, over the day and with use.
Vector3d day::drift() const
{
    return by_day_ * std::sin(TURN * t_ / 86400.0) + by_use_ * std::sin(TURN * t_ / 7200.0);
}

moment day::next()
{
    t_ = static_cast<double>(k_) / RATE;
    if (k_ % HOUR == 0)
        plan_hour();
    if (t_ >= ends_)
        begin_activity();
    moved_ = heading_ * motion_->attitude(t_ - began_) * pose_;

    moment m = {};
    m.k = k_;
    m.service = next_incident();
    m.gyroscope = gyroscope_;
    m.stepped = step_offset();
    m.doing = doing_;

    const Quaterniond q = attitude(), to_device = q.conjugate();
    const Vector3d near = magnet_.at(t_), around = door_.at(t_); // the one moves with the device, the other stays
    m.disturbance = near.norm() + around.norm();
    m.offset = built_in_ + magnetised_ + drift();
    m.acc = to_device * (UP + motion_->acceleration(t_ - began_)) + random_.normal_vector(qv6d::ACC_NOISE);
    m.gyr = qv6d::turn_rate(before_, q, 1.0 / RATE) + random_.normal_vector(qv6d::GYR_NOISE);
    const Vector3d field = to_device * (EARTH + around) + near + m.offset;
    m.mag = (field / COUNT + random_.normal_vector(MAG_NOISE)).array().round();
    before_ = q;
    ++k_;
    return m;
}

} // namespace soak
