// How often what happened in the cycles of a calibration, and how it went on.
#pragma once

#include "explain/cycles.h"

#include <array>
#include <cstdint>
#include <optional>

namespace qv6d
{

class cycle_counts
{
public:
    void add(const cycle &c);

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

    // Whatever their cause.
    std::uint64_t resets() const;

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
    std::array<std::uint64_t, RESET_CAUSES> resets_ = {};
    std::optional<span_figures> widest_;
    std::optional<double> calibrated_since_;
    cycle last_;
};

} // namespace qv6d
