#include "trust/timeline.h"

#include <algorithm>
#include <cmath>

namespace qv6d
{

using Eigen::AngleAxisd;
using Eigen::Quaterniond;
using Eigen::Vector3d;

namespace
{

constexpr double SPACING = 4.0;                    // microtesla, about 5 degrees of turning
constexpr double REST = 1.0;                       // s between two samples of a device at rest
constexpr double SILENCE = 5.0;                    // s: after a longer one nothing is known of the time between
constexpr std::size_t KEPT_MAX = 60000;            // an hour of turning by hand
constexpr std::uint64_t GYR_GAP_MAX = 100'000'000; // ns
constexpr double FIELD_MAX = 1e5;                  // microtesla, beyond every sensor

double median(double a, double b, double c)
{
    return std::max(std::min(a, b), std::min(std::max(a, b), c));
}

} // namespace

void timeline::add(const event &e)
{
    if (e.kind != sensor::gyr)
        return;
    const Vector3d rate(e.x, e.y, e.z);
    // Times are any numbers: their difference wraps around.
    const auto passed = static_cast<std::uint64_t>(e.t_ns) - static_cast<std::uint64_t>(last_gyr_ns_.value_or(0));
    if (!last_gyr_ns_ || passed > GYR_GAP_MAX || !rate.allFinite())
        turn_known_ = false;
    else if (const double dt = static_cast<double>(passed) / 1e9; rate.norm() > 0.0)
        turn_ = (turn_ * Quaterniond(AngleAxisd(rate.norm() * dt, rate.normalized()))).normalized();
    last_gyr_ns_ = e.t_ns;
}

// NaN is no other value than NaN.
static bool differ(const publication &a, const publication &b)
{
    const auto other = [](double x, double y) { return x != y && !(std::isnan(x) && std::isnan(y)); };
    return a.grade != b.grade || other(a.radius, b.radius) || other(a.offset.x(), b.offset.x()) ||
           other(a.offset.y(), b.offset.y()) || other(a.offset.z(), b.offset.z());
}

void timeline::note_published(const trust_sample &s)
{
    const publication now = {s.t, Vector3d(s.offset.data()), s.radius, s.grade};
    if (publications_.empty() || differ(publications_.back(), now))
        publications_.push_back(now);
}

// A glitch is one sample long: the middle one of three, axis by axis, is none.
Vector3d timeline::without_glitch(const Vector3d &field)
{
    const Vector3d a = seen_ > 1 ? before_[0] : field, b = seen_ > 0 ? before_[1] : field;
    before_ = {b, field};
    ++seen_;
    return {median(a.x(), b.x(), field.x()), median(a.y(), b.y(), field.y()), median(a.z(), b.z(), field.z())};
}

void timeline::add(const trust_sample &s)
{
    const std::size_t published = publications_.size();
    note_published(s);
    const bool follows = !samples_.empty() && samples_.back().until >= last_ && s.t - last_ <= SILENCE;
    last_ = s.t;
    if (follows)
        samples_.back().until = s.t;
    if (!(Vector3d(s.field.data()).norm() <= FIELD_MAX))
        return;
    const Vector3d field = without_glitch(Vector3d(s.field.data()));
    if (!follows || publications_.size() > published || s.t - samples_.back().t >= REST * spacing_scale_ ||
        (field - samples_.back().field).norm() >= SPACING * spacing_scale_)
        keep(s, field);
}

void timeline::keep(const trust_sample &s, const Vector3d &field)
{
    samples_.push_back({s.t, s.t, field, publications_.size() - 1, turn_, turn_known_ && !samples_.empty()});
    turn_ = Quaterniond::Identity();
    turn_known_ = last_gyr_ns_.has_value();
    if (samples_.size() > KEPT_MAX)
        thin();
}

void timeline::thin()
{
    std::size_t kept = 0;
    for (std::size_t i = 1; i < samples_.size(); i += 2)
    {
        kept_sample pair = samples_[i];
        pair.turn = (samples_[i - 1].turn * pair.turn).normalized();
        pair.turn_known = pair.turn_known && samples_[i - 1].turn_known;
        if (i + 1 < samples_.size() && pair.until >= samples_[i + 1].t)
            pair.until = samples_[i + 1].until;
        samples_[kept++] = pair;
    }
    samples_.resize(kept);
    spacing_scale_ *= 2.0;
}

} // namespace qv6d
