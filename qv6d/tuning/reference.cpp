#include "tuning/reference.h"

#include <algorithm>
#include <cmath>

namespace qv6d
{

// Microtesla: 12 degrees of heading in a horizontal field of 24.
static constexpr double WRONG = 5.0;

double reference::error_of(const std::array<double, 3> &published) const
{
    return std::hypot(published[0] - offset[0], published[1] - offset[1], published[2] - offset[2]);
}

reference reference_of(const listed_recording &recording, const std::optional<sphere> &all_events)
{
    if (recording.offset)
        return {reference::source::list, *recording.offset, WRONG};
    if (recording.expected == expectation::does_not_calibrate || !all_events || !why_not_trusted(*all_events).empty())
        return {};
    return {reference::source::sphere, all_events->centre, std::max(WRONG, all_events->residual)};
}

std::string why_no_reference(const std::optional<sphere> &all_events)
{
    return all_events ? why_not_trusted(*all_events) : "no sphere fits the samples";
}

} // namespace qv6d
