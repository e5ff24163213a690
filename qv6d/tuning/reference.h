// What the offset of a replay is measured against, and whether it says anything.
#pragma once

#include "trust/trust.h"
#include "tuning/recording_list.h"

#include <array>
#include <string>

namespace qv6d
{

// Kept as bytes between processes.
struct reference
{
    enum class source
    {
        none, // the recording says nothing about errors
        list, // the person who made the list knows
        seen, // the field itself shows it
    };

    source from = source::none;
    std::array<double, 3> offset = {};                       // microtesla, at the end of the recording
    double radius = 0.0, error = 0.0;                        // microtesla, of what was seen
    unjudged_reason missing = unjudged_reason::never_graded; // why there is none

    bool counts() const
    {
        return from != source::none;
    }

    // Microtesla from the reference.
    double error_of(const std::array<double, 3> &published) const;
};

// Decides which references count: `judged` is what a replay of the recording itself shows.
reference reference_of(const listed_recording &recording, const trust &judged);

// Why a recording has none.
std::string why_no_reference(const reference &none);

} // namespace qv6d
