// What a replay or a device's log comes to. Whatever tells of it, in words or as data, reads this record.
#pragma once

#include "explain/cycle_counts.h"
#include "explain/cycle_source.h"

#include <cstdint>
#include <vector>

namespace qv6d
{

// How the calibration stood at the end.
enum class calibration_end
{
    switched_off,
    calibrated, // validated in these cycles, and not thrown away since
    resumed,    // graded by what an earlier start had stored
    not_calibrated,
};

// What the same recording gives a slower magnetometer.
struct thinned_replay
{
    std::uint64_t every; // uses the Nth, 2Nth, ... mag event
    std::uint64_t ready; // READY buffers
};

struct findings
{
    cycle_source source;
    cycle_counts counts;
    calibration_end end;
    std::vector<thinned_replay> thinned; // none unless a recording did not calibrate
};

// Of the cycles that the settings gave. A recording that did not calibrate is replayed four times more, each time with
// fewer mag events and in a process of its own; nothing else is replayed.
findings find_by_replaying(const cycle_counts &counts, const cycle_source &source, const replay_settings &settings);

} // namespace qv6d
