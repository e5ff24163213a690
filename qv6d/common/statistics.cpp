#include "common/statistics.h"

#include <algorithm>
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

double median_of(std::vector<double> values)
{
    std::erase_if(values, [](double value) { return std::isnan(value); });
    if (values.empty())
        return std::nan("");
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

} // namespace qv6d
