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

// A figure of a combination over all recordings.
struct worst_case
{
    std::size_t missing = 0; // recordings that lack the figure
    std::optional<double> figure;
};

worst_case worst_case_of(const combination_result &result, criterion by);

// Indices of the results from best to worst: by fewest recordings without the figure, then by the worst figure; equals
// by the other criteria, then in the order of combinations.
std::vector<std::size_t> ranked(const std::vector<combination_result> &results, criterion by);

} // namespace qv6d
