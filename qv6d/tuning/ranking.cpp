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
        // What is published below grade 3 is not meant to be right.
        return f.time && f.error && std::isfinite(*f.error) ? f.error : std::nullopt;
    case criterion::time:
        return f.time;
    case criterion::spread:
        return f.spread;
    case criterion::resets:
        break;
    }
    return static_cast<double>(f.resets);
}

// A recording that must not calibrate says by false grades alone how good a combination is.
bool is_measured(const replay_figures &f)
{
    return f.counts && f.meant_to_calibrate;
}

// A replay that never calibrated has the fewest resets of all: that must not make it the best.
bool is_missing(const replay_figures &f, criterion by)
{
    return !figure(f, by) || !f.time;
}

} // namespace

worst_case worst_case_of(const combination_result &result, criterion by)
{
    worst_case worst;
    for (const replay_figures &f : result.replays)
    {
        if (!is_measured(f))
            continue;
        worst.missing += is_missing(f, by);
        if (const std::optional<double> value = figure(f, by))
            worst.figure = std::max(worst.figure.value_or(*value), *value);
    }
    return worst;
}

std::optional<double> error_quantile(const combination_result &result, double share)
{
    std::vector<double> errors;
    for (const replay_figures &f : result.replays)
        if (const std::optional<double> value = figure(f, criterion::error); value && is_measured(f))
            errors.push_back(*value);
    if (errors.empty())
        return std::nullopt;
    std::ranges::sort(errors);
    return errors[static_cast<std::size_t>(std::ceil(share * static_cast<double>(errors.size()))) - 1];
}

std::size_t falsely_graded(const combination_result &result)
{
    return static_cast<std::size_t>(std::ranges::count(result.replays, true, &replay_figures::falsely_graded));
}

std::vector<std::size_t> ranked(const std::vector<combination_result> &results, criterion by)
{
    const auto before = [&results](std::size_t a, std::size_t b, criterion c)
    {
        const worst_case left = worst_case_of(results[a], c), right = worst_case_of(results[b], c);
        const std::size_t left_cost = left.missing + FALSE_GRADE_COST * falsely_graded(results[a]),
                          right_cost = right.missing + FALSE_GRADE_COST * falsely_graded(results[b]);
        return left_cost != right_cost ? left_cost < right_cost
                                       : left.figure.value_or(HUGE_VAL) < right.figure.value_or(HUGE_VAL);
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
