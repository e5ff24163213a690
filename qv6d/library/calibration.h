// How the calibration of a replay or a log stands, and how it came there: what verdicts and requirements are made of.
#pragma once

#include "library/service.h"
#include "qv6dalgo.h"

#include <array>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

namespace qv6d
{

// The calibration after a magnetometer sample.
struct calibration_sample
{
    double t_s;                   // from the first event; NaN when not known
    int grade;                    // QV6D_GRADE_*
    std::array<double, 3> offset; // microtesla, published; zeros and radius 0 before the first
    double radius;
    bool validated;       // the offset has been validated, and the calibration was not started over since
    std::uint64_t resets; // up to here
};

calibration_sample sample_of(const sample_result &result, double t_s, std::uint64_t resets);

enum class calibration_verdict
{
    not_calibrated, // no offset was ever validated
    calibrated,     // the offset in force is validated
    lost,           // an offset was validated, and the calibration was started over since
};

// Of the published offset.
enum class offset_state
{
    none,        // nothing was published
    unvalidated, // the fit's present state, published as the grade rose
    validated,
    discarded, // the calibration was started over after it was published; it stays published
};

class calibration_watch
{
public:
    void add(const calibration_sample &sample);

    calibration_verdict verdict() const;
    offset_state offset() const;

    // Since when the offset in force is validated.
    const std::optional<double> &since() const
    {
        return since_;
    }

    // When a grade was first shown.
    const std::optional<double> &first(int grade) const
    {
        return first_[static_cast<std::size_t>(grade)];
    }

    // When this grade or a better one was first shown.
    std::optional<double> first_from(int grade) const;

    // Nothing before the first sample.
    const std::optional<calibration_sample> &last() const
    {
        return last_;
    }

    nlohmann::ordered_json json() const;

private:
    std::array<std::optional<double>, QV6D_GRADE_BEST + 1> first_;
    std::optional<calibration_sample> last_;
    std::optional<double> since_;
    bool was_validated_ = false, discarded_ = false;
};

// What a recording must reach to pass.
struct grade_requirement
{
    int grade;
    std::optional<double> within_s; // from the first event

    // Reached in time, and still there after the last sample.
    bool met_by(const calibration_watch &calibration) const;

    // A sentence: what was required, and what was reached instead.
    std::string unmet(const calibration_watch &calibration) const;
};

} // namespace qv6d
