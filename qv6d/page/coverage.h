// Directions from which accepted samples came, in cells of equal area.
#pragma once

#include "explain/cycles.h"

#include <array>
#include <nlohmann/json_fwd.hpp>

namespace qv6d
{

class coverage
{
public:
    void add(const vec3 &direction);

    bool empty() const;
    nlohmann::ordered_json json() const;

private:
    double share() const; // of the cells that hold a sample

    static constexpr std::size_t COLUMNS = 24; // of azimuth
    static constexpr std::size_t ROWS = 12;    // of the sine of elevation

    std::array<int, COLUMNS *ROWS> counts_ = {};
};

} // namespace qv6d
