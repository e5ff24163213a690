// Where on the sphere the field has been, as the device sees it: cells of equal area, and the six sides of the device.
#pragma once

#include "explain/cycles.h"

#include <array>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

namespace qv6d
{

class coverage
{
public:
    void add(const vec3 &direction);

    // Of the cells that hold a direction.
    double share() const;

    // The same for the cells around the direction of one side, in the order of SIDES.
    std::array<double, 6> sides() const;

    const std::vector<int> &counts() const
    {
        return counts_;
    }

    static constexpr std::size_t COLUMNS = 24; // of azimuth
    static constexpr std::size_t ROWS = 12;    // of the sine of elevation

private:
    std::vector<int> counts_ = std::vector<int>(COLUMNS * ROWS);
};

// Of a device whose x axis points to the right, y to its top edge, and z out of its screen: +x, -x, +y, -y, +z, -z.
struct device_side
{
    const char *name;
    const char *down; // what a person does to turn this side down
};
inline constexpr device_side SIDES[6] = {
    {"right edge", "stand it on its right edge"},
    {"left edge", "stand it on its left edge"},
    {"top edge", "stand it on its head"},
    {"bottom edge", "stand it upright on its bottom edge"},
    {"screen", "lay it down with the screen downwards"},
    {"back", "lay it flat on its back"},
};

// What to do so that the field comes in through a side. `dip` is how far below the horizon the field points, degrees;
// NaN when not known.
std::string how_to_reach(std::size_t side, double dip);

} // namespace qv6d
