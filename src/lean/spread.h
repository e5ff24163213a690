// On which side of a limit the standard deviations of a growing buffer lie, in the same few steps for every sample.
//
// qvcrd_get_stdev goes through the buffer twice. The sums of differences from one of the samples, and of their squares,
// only need the newest. They are rounded in another way, and tell the side unless a deviation is so near to the limit
// that rounding could matter.
#pragma once

#include "math/vec3.h"

#include <algorithm>
#include <cmath>

class spread
{
public:
    // Takes in samples[0] of samples[n], newest first; all of them where the buffer did not just grow by it.
    void follow(const qvcrd_vec3 *samples, int32_t n)
    {
        if (n_ == 0 || n_ + 1 != n) [[unlikely]]
        {
            base_ = samples[n - 1];
            sum_ = squares_ = {};
            for (int32_t i = n - 1; i > 0; --i)
                add(samples[i]);
        }
        add(samples[0]);
        n_ = n;
    }

    enum class side
    {
        unsure,
        below,
        above
    };

    side smallest_against(double limit) const
    {
        const qvcrd_vec3 v = variances();
        return against(limit, std::min(std::min(v.x, v.y), v.z));
    }

    side largest_against(double limit) const
    {
        const qvcrd_vec3 v = variances();
        return against(limit, std::max(std::max(v.x, v.y), v.z));
    }

private:
    void add(const qvcrd_vec3 &sample)
    {
        const qvcrd_vec3 d = sample - base_;
        sum_ = sum_ + d;
        squares_ = squares_ + qvcrd_vec3{d.x * d.x, d.y * d.y, d.z * d.z};
    }

    // n² times the variance of each axis.
    qvcrd_vec3 variances() const
    {
        const double n = n_;
        return {n * squares_.x - sum_.x * sum_.x, n * squares_.y - sum_.y * sum_.y, n * squares_.z - sum_.z * sum_.z};
    }

    // In 40 terms, rounding adds less than 1e-13 of the total to these sums, and less than 1e-13 of the largest value
    // to the mean in qvcrd_get_stdev. For a base of up to 1e5 microtesla the margin is thousands of times as wide as
    // both, and yet seldom met.
    side against(double limit, double variance) const
    {
        const double far = std::fabs(base_.x) + std::fabs(base_.y) + std::fabs(base_.z);
        if (!(far < 1e5 && limit >= 0.0))
            return side::unsure;
        const double n = n_, at_limit = n * limit * (n * limit);
        const double total = n * (squares_.x + squares_.y + squares_.z);
        const double margin = 1e-6 * (total + at_limit + n * n);
        const double distance = variance - at_limit; // NaN is on neither side
        return distance > margin ? side::above : distance < -margin ? side::below : side::unsure;
    }

    qvcrd_vec3 base_;
    qvcrd_vec3 sum_, squares_; // of the differences from base_
    int32_t n_;                // samples in the sums
};
