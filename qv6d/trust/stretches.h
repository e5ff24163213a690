// Stretches of a recording in which the field lies on one sphere.
#pragma once

#include "trust/fit.h"

namespace qv6d
{

struct stretches
{
    std::vector<stretch> all; // one after the other
    field_shape shape;        // common to them
};

// The partition of least cost: squared distances from the spheres, in units of the noise, and a price for each sphere
// (optimal partitioning; Jackson et al., IEEE Signal Processing Letters 12, 2005). Partition and soft iron are found in
// turns.
stretches find_stretches(const std::vector<kept_sample> &samples);

} // namespace qv6d
