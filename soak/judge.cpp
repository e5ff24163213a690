#include "judge.h"

#include <algorithm>
#include <cmath>

namespace soak
{

namespace
{

using Eigen::Vector3d;

// What is asserted; docs/soak.md has the figures behind it.
constexpr std::int64_t WAVE_ENOUGH = 90 * RATE; // samples
constexpr double ERROR_OF_99 = 1.5;             // microtesla, of 99 % of the settled samples
constexpr double ERROR_MAX = 3.0;               // microtesla, settled; drifted, beyond the drift
constexpr double GRADED_MIN = 95.0;             // % of the settled samples
constexpr double JUDGED_MIN = 10000.0;          // settled samples at grade 3; fewer would prove nothing

constexpr double DRIFTED = 1.0;   // microtesla
constexpr double DISTURBED = 0.5; // microtesla
constexpr double WRONG = 5.0;     // microtesla: 12 degrees of heading in a horizontal field of 24

bool finite(const vec3f &v)
{
    return std::all_of(v.begin(), v.end(), [](float f) { return std::isfinite(f); });
}

bool finite(const answer &got)
{
    return finite(got.offset) && finite(got.calibrated) && std::isfinite(got.radius) &&
           (!got.oriented || finite(got.orientation));
}

bool in_range(const answer &got)
{
    const vec3f &o = got.orientation;
    const bool angles = o[0] >= 0.0f && o[0] <= 360.0f && std::fabs(o[1]) <= 180.0f && std::fabs(o[2]) <= 90.0f;
    return got.grade >= 0 && got.grade <= 3 && (!got.oriented || angles);
}

} // namespace

void histogram::add(double value)
{
    max_ = std::max(max_, value);
    ++count_;
    ++bins_[static_cast<std::size_t>(std::clamp(value / resolution_, 0.0, BINS - 1.0))];
}

double histogram::quantile(double share) const
{
    std::uint64_t seen = 0;
    for (std::size_t bin = 0; bin < BINS - 1; ++bin)
    {
        seen += bins_[bin];
        if (static_cast<double>(seen) >= share * static_cast<double>(count_))
            return std::min(max_, static_cast<double>(bin + 1) * resolution_);
    }
    return max_;
}

std::vector<check> checks_of(const findings &found)
{
    const auto number = [](std::uint64_t count) { return static_cast<double>(count); };
    const findings::row &settled = found.of(standing::settled);
    return {
        {"values that are not finite", number(found.not_finite), true, 0.0},
        {"grades and angles out of range", number(found.out_of_range), true, 0.0},
        {"settled: samples at grade 3", number(settled.error.count()), false, JUDGED_MIN},
        {"settled: share of them, %", 100.0 * number(settled.error.count()) / number(settled.samples), false,
         GRADED_MIN},
        {"settled: error of 99 % of them, µT", settled.error.quantile(0.99), true, ERROR_OF_99},
        {"settled: largest error, µT", settled.error.max(), true, ERROR_MAX},
        {"drifted: largest error beyond the drift, µT", found.beyond_drift, true, ERROR_MAX},
    };
}

void judge::upset()
{
    if (waved_ >= WAVE_ENOUGH)
        found_.waved_seconds.add(static_cast<double>(wrong_until_) / RATE);
    waved_ = wrong_until_ = 0;
}

standing judge::stands(const moment &now)
{
    const bool disturbed = now.disturbance > DISTURBED;
    if (disturbed || now.stepped)
        upset();
    else if (now.doing == activity::wave)
    {
        ++waved_;
        at_wave_ = now.offset;
    }
    if (disturbed)
        return standing::disturbed;
    if (waved_ < WAVE_ENOUGH)
        return standing::upset;
    return (now.offset - at_wave_).norm() > DRIFTED ? standing::drifted : standing::settled;
}

void judge::take(const moment &now, const answer &got)
{
    const standing stood = stands(now);
    const double error = (Vector3d(got.offset[0], got.offset[1], got.offset[2]) - now.offset).norm();
    const double beyond = error - (now.offset - at_wave_).norm();
    const bool good = got.grade == 3;

    ++found_.samples;
    ++found_.doing[static_cast<std::size_t>(now.doing)];
    ++found_.grades[static_cast<std::size_t>(got.grade & 3)];
    found_.not_finite += finite(got) ? 0 : 1;
    found_.out_of_range += in_range(got) ? 0 : 1;

    findings::row &row = found_.rows[static_cast<std::size_t>(stood)];
    ++row.samples;
    if (good)
        row.error.add(error);
    if (good && stood == standing::drifted)
        found_.beyond_drift = std::max(found_.beyond_drift, beyond);
    if (good && beyond > ERROR_MAX)
        wrong_until_ = waved_;
    take_step(now, good && error > WRONG);
}

void judge::take_step(const moment &now, bool wrong)
{
    if (now.stepped)
    {
        end_step();
        wrong_ = 0;
    }
    if (wrong_ >= 0 && wrong)
        ++wrong_;
    else
        end_step();
}

void judge::end_step()
{
    if (wrong_ >= 0)
        found_.wrong_seconds.add(static_cast<double>(wrong_) / RATE);
    wrong_ = -1;
}

const findings &judge::finish()
{
    upset();
    end_step();
    return found_;
}

} // namespace soak
