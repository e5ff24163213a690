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

struct running_mean
{
    static constexpr int32_t WINDOW = 15; // samples

    recent<qvcrd_vec3, WINDOW> samples;
    qvcrd_vec3 sum;
    // Pushes for which the window is summed. The last of them is the one with which the inexact sample leaves: the sum
    // that goes on from there has none in it.
    int32_t inexact;
};

// Whether it is a multiple of 2^-42 up to 128. Sixteen of them have a sum of at most 2^11, which takes 53 bits.
inline bool sums_exactly(double value)
{
    constexpr double units = 1536.0; // with it, a value of this size is rounded to a multiple of 2^-42
    return std::fabs(value) <= 128.0 && value + units - units == value;
}

inline bool sums_exactly(const qvcrd_vec3 &v)
{
    return sums_exactly(v.x) && sums_exactly(v.y) && sums_exactly(v.z);
}

// As qvmaf_run of a filter with this window that holds `n` samples; 0 begins again.
inline qvcrd_vec3 running_mean_push(running_mean *mean, int32_t n, const qvcrd_vec3 &sample)
{
    const qvcrd_vec3 oldest = recent_values(mean->samples)[running_mean::WINDOW - 1];
    recent_push(&mean->samples, sample);
    if (n == 0 || !sums_exactly(sample))
        mean->inexact = running_mean::WINDOW + 1;
    n = std::min(n + 1, running_mean::WINDOW);

    if (mean->inexact == 0) [[likely]]
        mean->sum = mean->sum + (sample - oldest);
    else
    {
        --mean->inexact;
        mean->sum = {};
        for (int32_t i = 0; i < n; ++i)
            mean->sum = mean->sum + recent_values(mean->samples)[i];
    }
    return {mean->sum.x / n, mean->sum.y / n, mean->sum.z / n};
}
