#include "tuning/ranking.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace qv6d
{

namespace
{

constexpr criterion CRITERIA[] = {criterion::error, criterion::time, criterion::spread, criterion::resets};

std::optional<double> figure(const replay_figures &f, criterion by)
{
    switch (by)
    {
    case criterion::error:
        return f.error && std::isfinite(*f.error) ? f.error : std::nullopt;
    case criterion::time:
        return f.time;
    case criterion::spread:
        return f.spread;
    case criterion::resets:
        break;
    }
    return static_cast<double>(f.resets);
}

// A replay that never calibrated has the fewest resets of all: that must not make it the best.
bool is_missing(const replay_figures &f, criterion by)
{
    return !figure(f, by) || (by == criterion::resets && !f.spread);
}

} // namespace

worst_case worst_case_of(const combination_result &result, criterion by)
{
    worst_case worst;
    for (const replay_figures &f : result.replays)
    {
        worst.missing += is_missing(f, by);
        if (const std::optional<double> value = figure(f, by))
            worst.figure = std::max(worst.figure.value_or(*value), *value);
    }
    return worst;
}

std::vector<std::size_t> ranked(const std::vector<combination_result> &results, criterion by)
{
    const auto before = [&results](std::size_t a, std::size_t b, criterion c)
    {
        const worst_case left = worst_case_of(results[a], c), right = worst_case_of(results[b], c);
        return left.missing != right.missing ? left.missing < right.missing
                                             : left.figure.value_or(0.0) < right.figure.value_or(0.0);
    };
    std::vector<std::size_t> order(results.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    // Stable sorts, the one that decides last.
    for (std::size_t i = std::size(CRITERIA); i-- > 0;)
        std::stable_sort(order.begin(), order.end(),
                         [&](std::size_t a, std::size_t b) { return before(a, b, CRITERIA[i]); });
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return before(a, b, by); });
    return order;
}

} // namespace qv6d
