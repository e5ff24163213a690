#include "common/statistics.h"

#include <cmath>

namespace qv6d
{

void running_stats::add(double value)
{
    if (!std::isfinite(value))
        return;
    ++count_;
    const double delta = value - mean_;
    mean_ += delta / static_cast<double>(count_);
    squares_ += delta * (value - mean_);
}

double running_stats::stdev() const
{
    return count_ == 0 ? 0.0 : std::sqrt(squares_ / static_cast<double>(count_));
}

} // namespace qv6d
