// What the cycles of a calibration come to: counts, and in plain words what to do.
#pragma once

#include "cycle_source.h"
#include "cycles.h"

#include <array>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace qv6d
{

class tally
{
public:
    void add(const cycle &c);

    std::string text(const cycle_source &source) const;
    nlohmann::ordered_json json(const cycle_source &source) const;

    std::uint64_t count(buffer_outcome outcome) const
    {
        return outcomes_[static_cast<std::size_t>(outcome)];
    }

    std::uint64_t count(reset_cause cause) const
    {
        return resets_[static_cast<std::size_t>(cause)];
    }

    // Buffers that were judged, and those of them that were READY.
    std::uint64_t full() const;
    std::uint64_t ready() const;

    const cycle &last() const
    {
        return last_;
    }

    // Of the buffers whose spans were measured, the one whose smallest span is the largest.
    const std::optional<span_figures> &widest() const
    {
        return widest_;
    }

    // Time at which a validated offset was first published and not thrown away since.
    const std::optional<double> &calibrated_since() const
    {
        return calibrated_since_;
    }

private:
    std::array<std::uint64_t, BUFFER_OUTCOMES> outcomes_ = {};
    std::array<std::uint64_t, 5> resets_ = {};
    std::optional<span_figures> widest_;
    std::optional<double> calibrated_since_;
    cycle last_;
};

// A cycle's time in words: "9.4 s", or the sample's number when the source has no times.
std::string moment(double time, const cycle_source &source);

// Sentences for a person: calibrated or not, since when, and what to change. Of a recording it also tries how many
// buffers a slower magnetometer would have made READY.
std::vector<std::string> verdict(const tally &counts, const cycle_source &source, const replay_settings &settings);

} // namespace qv6d
