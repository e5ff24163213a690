#include "explain/findings.h"

namespace qv6d
{

namespace
{

calibration_end end_of(const cycle_counts &counts, const cycle_source &source)
{
    if (source.cycles > 0 && counts.count(buffer_outcome::disabled) == source.cycles)
        return calibration_end::switched_off;
    if (counts.calibrated_since())
        return calibration_end::calibrated;
    return source.resumes > 0 && counts.last().grade > QV6D_GRADE_UNRELIABLE ? calibration_end::resumed
                                                                             : calibration_end::not_calibrated;
}

} // namespace

findings find_by_replaying(const cycle_counts &counts, const cycle_source &source, const replay_settings &settings)
{
    return {source, counts, end_of(counts, source), try_remedies(counts, source, settings)};
}

} // namespace qv6d
