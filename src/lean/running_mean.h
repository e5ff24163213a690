// The mean of the last accelerations, in the same few steps whatever the window.
//
// A filter sums its window from newest to oldest. Where every sum is exact the order makes no difference, and neither
// does adding the newest to the last sum and taking off the oldest. The sums of a sensor's samples are exact, because
// they are single-precision numbers of a few m/s². While any other sample is among them the window is summed as in the
// filter.
#pragma once

#include "lean/recent.h"
#include "math/vec3.h"

#include <algorithm>
#include <cmath>

class running_mean
{
public:
    static constexpr int32_t WINDOW = 15; // samples

    // As qvmaf_run of a filter with this window that holds `n` samples; 0 begins anew.
    qvcrd_vec3 push(int32_t n, const qvcrd_vec3 &sample)
    {
        const qvcrd_vec3 oldest = window_.values()[WINDOW - 1];
        window_.push(sample);
        if (n == 0 || !sums_exactly(sample))
            inexact_ = WINDOW + 1;
        n = std::min(n + 1, WINDOW);

        if (inexact_ == 0) [[likely]]
            sum_ = sum_ + (sample - oldest);
        else
            sum_window(n);
        return {sum_.x / n, sum_.y / n, sum_.z / n};
    }

private:
    // Whether it is a multiple of 2^-42 up to 128. Sixteen of them have a sum of at most 2^11, which takes 53 bits.
    static bool sums_exactly(double value)
    {
        constexpr double units = 1536.0; // with it, a value of this size is rounded to a multiple of 2^-42
        return std::fabs(value) <= 128.0 && value + units - units == value;
    }

    static bool sums_exactly(const qvcrd_vec3 &v)
    {
        return sums_exactly(v.x) && sums_exactly(v.y) && sums_exactly(v.z);
    }

    void sum_window(int32_t n)
    {
        --inexact_;
        sum_ = {};
        for (int32_t i = 0; i < n; ++i)
            sum_ = sum_ + window_.values()[i];
    }

    recent<qvcrd_vec3, WINDOW> window_;
    qvcrd_vec3 sum_;
    int32_t inexact_; // pushes until only exact sums are left; one more than the window, to begin with a whole one
};
