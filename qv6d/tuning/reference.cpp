#include "tuning/reference.h"

#include "trust/words.h"

#include <cmath>

namespace qv6d
{

double reference::error_of(const std::array<double, 3> &published) const
{
    return std::hypot(published[0] - offset[0], published[1] - offset[1], published[2] - offset[2]);
}

reference reference_of(const listed_recording &recording, const trust &judged)
{
    reference found;
    found.missing = judged.reason;
    if (recording.offset)
    {
        found.from = reference::source::list;
        found.offset = *recording.offset;
    }
    else if (recording.expected != expectation::does_not_calibrate && !judged.offsets.empty())
    {
        const seen_offset &last = judged.offsets.back();
        found.from = reference::source::seen;
        found.offset = last.centre;
        found.radius = last.radius;
        found.error = last.error;
    }
    return found;
}

std::string why_no_reference(const reference &none)
{
    if (none.missing == unjudged_reason::none || none.missing == unjudged_reason::never_graded)
        return "The device was not turned enough to see its offset in the field.";
    trust judged;
    judged.reason = none.missing;
    return words(judged);
}

} // namespace qv6d
