// What a replay or a device's log comes to. Whatever tells of it, in words or as data, reads this record.
#pragma once

#include "explain/advice.h"

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

struct findings
{
    cycle_source source;
    cycle_counts counts;
    calibration_end end;
    advice_found advice;
};

// Of the cycles that the settings gave, and of what try_remedies() found.
findings find_by_replaying(const cycle_counts &counts, const cycle_source &source, const replay_settings &settings);

} // namespace qv6d
