// On which side of a limit the standard deviations of a growing buffer lie, in the same few steps for every sample.
//
// qvcrd_get_stdev goes through the buffer twice. The sums of differences from one of the samples, and of their squares,
// only need the newest. They are rounded in another way, and tell the side unless a deviation is so near to the limit
// that rounding could matter.
#pragma once

#include "math/vec3.h"

#include <algorithm>
#include <cmath>

struct spread
{
    qvcrd_vec3 base;
    qvcrd_vec3 sum, squares; // of the differences from the base
    int32_t n;               // samples in the sums
};

inline void spread_add(spread *s, const qvcrd_vec3 &sample)
{
    const qvcrd_vec3 d = sample - s->base;
    s->sum = s->sum + d;
    s->squares = s->squares + qvcrd_vec3{d.x * d.x, d.y * d.y, d.z * d.z};
}

// Takes in samples[0] of samples[n], newest first; all of them where the buffer did not just grow by it.
inline void spread_follow(spread *s, const qvcrd_vec3 *samples, int32_t n)
{
    if (s->n == 0 || s->n + 1 != n) [[unlikely]]
    {
        *s = {samples[n - 1], {}, {}, 0};
        for (int32_t i = n - 1; i > 0; --i)
            spread_add(s, samples[i]);
    }
    spread_add(s, samples[0]);
    s->n = n;
}

// n² times the variance of each axis.
inline qvcrd_vec3 spread_variances(const spread &s)
{
    const double n = s.n;
    return {n * s.squares.x - s.sum.x * s.sum.x, n * s.squares.y - s.sum.y * s.sum.y,
            n * s.squares.z - s.sum.z * s.sum.z};
}

enum class spread_side
{
    unsure,
    below,
    above
};

// In 40 terms, rounding adds less than 1e-13 of the total to these sums, and less than 1e-13 of the largest value to
// the mean in qvcrd_get_stdev. For a base of up to 1e5 microtesla the margin is thousands of times as wide as both, and
// yet seldom met.
inline spread_side spread_against(const spread &s, double limit, double variance)
{
    const double far = std::fabs(s.base.x) + std::fabs(s.base.y) + std::fabs(s.base.z);
    if (!(far < 1e5 && limit >= 0.0))
        return spread_side::unsure;
    const double n = s.n, at_limit = n * limit * (n * limit);
    const double total = n * (s.squares.x + s.squares.y + s.squares.z);
    const double margin = 1e-6 * (total + at_limit + n * n);
    const double distance = variance - at_limit; // NaN is on neither side
    return distance > margin ? spread_side::above : distance < -margin ? spread_side::below : spread_side::unsure;
}

// Where the smallest of the three deviations lies, and the largest.
inline spread_side spread_smallest(const spread &s, double limit)
{
    const qvcrd_vec3 v = spread_variances(s);
    return spread_against(s, limit, std::min(std::min(v.x, v.y), v.z));
}

inline spread_side spread_largest(const spread &s, double limit)
{
    const qvcrd_vec3 v = spread_variances(s);
    return spread_against(s, limit, std::max(std::max(v.x, v.y), v.z));
}
