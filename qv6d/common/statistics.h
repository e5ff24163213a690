// Figures of a stream of numbers.
#pragma once

#include <cstdint>
#include <vector>

namespace qv6d
{

// Mean and standard deviation (Welford's method). Values that are not finite are left out.
class running_stats
{
public:
    void add(double value);

    std::uint64_t count() const
    {
        return count_;
    }

    bool empty() const
    {
        return count_ == 0;
    }

    double mean() const
    {
        return mean_;
    }

    double stdev() const;

private:
    std::uint64_t count_ = 0;
    double mean_ = 0.0, squares_ = 0.0;
};

// NaNs are left out: they have no place in an order. NaN when nothing is left.
double median_of(std::vector<double> values);

} // namespace qv6d
