// What the offset of a replay is measured against, and whether it says anything.
#pragma once

#include "common/sphere.h"
#include "tuning/recording_list.h"

#include <array>
#include <optional>
#include <string>

namespace qv6d
{

// Kept as bytes between processes.
struct reference
{
    enum class source
    {
        none,   // nothing that could be trusted: the recording says nothing about errors
        list,   // the person who made the list knows
        sphere, // through all magnetometer events
    };

    source from = source::none;
    std::array<double, 3> offset = {}; // microtesla
    double tolerance = 0.0;            // microtesla: an offset that is further off is wrong

    bool counts() const
    {
        return from != source::none;
    }

    // Microtesla from the reference.
    double error_of(const std::array<double, 3> &published) const;
};

// Decides which references count. `all_events` is the sphere through all magnetometer events of a replay.
reference reference_of(const listed_recording &recording, const std::optional<sphere> &all_events);

// Why a recording has none.
std::string why_no_reference(const std::optional<sphere> &all_events);

} // namespace qv6d
