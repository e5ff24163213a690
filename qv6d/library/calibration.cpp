#include "library/calibration.h"

#include "common/json_document.h"

#include <algorithm>
#include <fmt/format.h>

namespace qv6d
{

using nlohmann::ordered_json;

namespace
{

bool is_published(const calibration_sample &sample)
{
    return sample.radius != 0.0 || std::ranges::any_of(sample.offset, [](double axis) { return axis != 0.0; });
}

const char *name(calibration_verdict verdict)
{
    switch (verdict)
    {
    case calibration_verdict::calibrated:
        return "calibrated";
    case calibration_verdict::lost:
        return "lost";
    case calibration_verdict::not_calibrated:
        break;
    }
    return "not_calibrated";
}

const char *name(offset_state state)
{
    switch (state)
    {
    case offset_state::unvalidated:
        return "unvalidated";
    case offset_state::validated:
        return "validated";
    case offset_state::discarded:
        return "discarded";
    case offset_state::none:
        break;
    }
    return "none";
}

std::string within_words(const std::optional<double> &within_s)
{
    return within_s ? fmt::format(" within {:.1f} s", *within_s) : "";
}

} // namespace

calibration_sample sample_of(const sample_result &result, double t_s, std::uint64_t resets)
{
    return {t_s,           result.grade,     {result.offset[0], result.offset[1], result.offset[2]},
            result.radius, result.validated, resets};
}

void calibration_watch::add(const calibration_sample &sample)
{
    const bool reset = last_ && sample.resets > last_->resets;
    const bool changed = last_ ? sample.offset != last_->offset : is_published(sample);
    // A sample whose cycle starts over publishes only what it validated before that.
    was_validated_ = was_validated_ || sample.validated || (reset && changed);
    discarded_ = reset || (discarded_ && !changed && !sample.validated);
    if (!sample.validated)
        since_.reset();
    else if (!since_)
        since_ = sample.t_s;
    if (sample.grade >= 0 && sample.grade <= QV6D_GRADE_BEST && !first(sample.grade))
        first_[static_cast<std::size_t>(sample.grade)] = sample.t_s;
    last_ = sample;
}

calibration_verdict calibration_watch::verdict() const
{
    if (since_)
        return calibration_verdict::calibrated;
    return was_validated_ ? calibration_verdict::lost : calibration_verdict::not_calibrated;
}

offset_state calibration_watch::offset() const
{
    if (!last_ || !is_published(*last_))
        return offset_state::none;
    if (last_->validated)
        return offset_state::validated;
    return discarded_ ? offset_state::discarded : offset_state::unvalidated;
}

std::optional<double> calibration_watch::first_from(int grade) const
{
    std::optional<double> earliest;
    for (int better = grade; better <= QV6D_GRADE_BEST; ++better)
        if (const std::optional<double> &shown = first(better); shown && (!earliest || *shown < *earliest))
            earliest = shown;
    return earliest;
}

ordered_json calibration_watch::json() const
{
    ordered_json first_grade;
    for (int grade = QV6D_GRADE_LOW; grade <= QV6D_GRADE_BEST; ++grade)
        first_grade[std::to_string(grade)] = json_of(first(grade));
    const offset_state state = offset();
    const bool any = state != offset_state::none;
    return {{"verdict", name(verdict())},
            {"since_s", json_of(since_)},
            {"last_grade", last_ ? last_->grade : QV6D_GRADE_UNRELIABLE},
            {"first_grade_s", first_grade},
            {"resets", last_ ? last_->resets : 0},
            {"offset_ut", any ? ordered_json(last_->offset) : ordered_json()},
            {"offset_state", name(state)},
            {"radius_ut", any ? ordered_json(last_->radius) : ordered_json()}};
}

bool grade_requirement::met_by(const calibration_watch &calibration) const
{
    const std::optional<double> reached = calibration.first_from(grade);
    return reached && (!within_s || *reached <= *within_s) && calibration.last()->grade >= grade;
}

std::string grade_requirement::unmet(const calibration_watch &calibration) const
{
    const std::string required = fmt::format("grade {} is required{}", grade, within_words(within_s));
    if (const std::optional<double> reached = calibration.first_from(grade))
        return within_s && *reached > *within_s ? fmt::format("{}: it came at {:.1f} s", required, *reached)
                                                : fmt::format("{}: it came at {:.1f} s, but the last grade is {}",
                                                              required, *reached, calibration.last()->grade);
    for (int lower = grade - 1; lower > QV6D_GRADE_UNRELIABLE; --lower)
        if (calibration.first(lower))
            return fmt::format("{}: the best grade shown is {}, at {:.1f} s", required, lower,
                               *calibration.first(lower));
    return fmt::format("{}: no grade above 0 was shown", required);
}

} // namespace qv6d
