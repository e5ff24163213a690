#include "page/coverage.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <numbers>

namespace qv6d
{

namespace
{

constexpr double STEEP = 30.0; // degrees; a flatter field does not come in through the side that is down

// Which of `count` equal parts of 0 to 1 holds the share.
std::size_t cell(double share, std::size_t count)
{
    return std::min(static_cast<std::size_t>(share * static_cast<double>(count)), count - 1);
}

std::size_t side_of_cell(std::size_t row, std::size_t column)
{
    const double turn = 2.0 * std::numbers::pi * ((static_cast<double>(column) + 0.5) / coverage::COLUMNS - 0.5);
    const double z = (2.0 * static_cast<double>(row) + 1.0) / coverage::ROWS - 1.0, flat = std::sqrt(1.0 - z * z);
    const vec3 middle = {flat * std::cos(turn), flat * std::sin(turn), z};
    std::size_t axis = 0;
    for (std::size_t k = 1; k < middle.size(); ++k)
        if (std::abs(middle[k]) > std::abs(middle[axis]))
            axis = k;
    return 2 * axis + (middle[axis] < 0.0 ? 1 : 0);
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

double coverage::share() const
{
    const auto held = std::ranges::count_if(counts_, [](int n) { return n > 0; });
    return static_cast<double>(held) / static_cast<double>(counts_.size());
}

std::array<double, 6> coverage::sides() const
{
    std::array<double, 6> held = {}, all = {};
    for (std::size_t k = 0; k < counts_.size(); ++k)
    {
        const std::size_t side = side_of_cell(k / COLUMNS, k % COLUMNS);
        all[side] += 1.0;
        held[side] += counts_[k] > 0 ? 1.0 : 0.0;
    }
    for (std::size_t side = 0; side < held.size(); ++side)
        held[side] /= all[side];
    return held;
}

std::string how_to_reach(std::size_t side, double dip)
{
    const std::size_t opposite = side ^ 1;
    if (dip > STEEP)
        return SIDES[side].down;
    if (dip < -STEEP)
        return SIDES[opposite].down;
    if (std::isfinite(dip))
        return fmt::format("point its {} to the north", SIDES[side].name);
    return fmt::format("point its {} along the field, in Europe or North America down and to the north",
                       SIDES[side].name);
}

} // namespace qv6d
