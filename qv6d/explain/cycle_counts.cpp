#include "explain/cycle_counts.h"

#include <algorithm>
#include <numeric>

namespace qv6d
{

namespace
{

double smallest(const vec3 &v)
{
    return std::ranges::min(v);
}

} // namespace

void cycle_counts::add(const cycle &c)
{
    ++outcomes_[static_cast<std::size_t>(c.outcome)];
    ++resets_[static_cast<std::size_t>(c.reset)];
    if (c.spans && (!widest_ || smallest(c.spans->span) > smallest(widest_->span)))
        widest_ = c.spans;
    if (c.outcome == buffer_outcome::validated && !calibrated_since_)
        calibrated_since_ = c.time;
    if (c.reset != reset_cause::none)
        calibrated_since_.reset();
    last_ = c;
}

std::uint64_t cycle_counts::full() const
{
    const auto first = outcomes_.begin() + static_cast<std::ptrdiff_t>(buffer_outcome::not_moved);
    return std::accumulate(first, outcomes_.end(), std::uint64_t{0});
}

std::uint64_t cycle_counts::ready() const
{
    const auto first = outcomes_.begin() + static_cast<std::ptrdiff_t>(buffer_outcome::discarded);
    const auto last = outcomes_.begin() + static_cast<std::ptrdiff_t>(buffer_outcome::validated);
    return std::accumulate(first, last + 1, std::uint64_t{0});
}

std::uint64_t cycle_counts::resets() const
{
    return std::accumulate(resets_.begin() + 1, resets_.end(), std::uint64_t{0});
}

} // namespace qv6d
