#include "page/coverage.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <numbers>

namespace qv6d
{

namespace
{

// Which of `count` equal parts of 0 to 1 holds the share.
std::size_t cell(double share, std::size_t count)
{
    return std::min(static_cast<std::size_t>(share * static_cast<double>(count)), count - 1);
}

} // namespace

void coverage::add(const vec3 &direction)
{
    const double length = std::hypot(direction[0], direction[1], direction[2]);
    if (!(length > 0.0) || !std::isfinite(length))
        return;
    const double turn = std::atan2(direction[1], direction[0]) / (2.0 * std::numbers::pi) + 0.5;
    const double height = direction[2] / length / 2.0 + 0.5;
    const std::size_t column = cell(turn, COLUMNS), row = cell(height, ROWS);
    ++counts_[row * COLUMNS + column];
}

bool coverage::empty() const
{
    return share() == 0.0;
}

double coverage::share() const
{
    const auto held = std::ranges::count_if(counts_, [](int n) { return n > 0; });
    return static_cast<double>(held) / static_cast<double>(counts_.size());
}

nlohmann::ordered_json coverage::json() const
{
    return {{"columns", COLUMNS}, {"counts", counts_}, {"rows", ROWS}, {"share", share()}};
}

} // namespace qv6d
