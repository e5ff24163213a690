// Which combinations of a sweep are better, by the figures of their replays.
#pragma once

#include "tuning/tune.h"

#include <cstddef>
#include <optional>
#include <vector>

namespace qv6d
{

enum class criterion
{
    error,
    time,
    spread,
    resets,
};

// A false grade costs as much as this many recordings that never get there.
inline constexpr std::size_t FALSE_GRADE_COST = 3;

// A figure of a combination over the recordings that count and are meant to calibrate.
struct worst_case
{
    std::size_t missing = 0; // recordings that lack the figure
    std::optional<double> figure;
};

worst_case worst_case_of(const combination_result &result, criterion by);

// Of the errors of these recordings, the smallest that this share of them does not exceed; 0.5 is the median.
std::optional<double> error_quantile(const combination_result &result, double share);

std::size_t falsely_graded(const combination_result &result);

// Indices of the results from best to worst: by what false grades and missing figures cost, then by the worst figure;
// equals by the other criteria, then in the order of the results.
std::vector<std::size_t> ranked(const std::vector<combination_result> &results, criterion by);

} // namespace qv6d
