// The best sphere through a cloud of field samples: what a calibration can be measured against afterwards.
#pragma once

#include "common/cloud.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace qv6d
{

// Microtesla.
struct sphere
{
    std::array<double, 3> centre;
    double radius;
    double residual;  // standard deviation of the samples' distances from the centre, to first order
    double thickness; // standard deviation of the samples in the direction in which they scatter least
};

// Empty when nothing speaks against the sphere.
std::string why_not_trusted(const sphere &s);

// Linear least squares over running sums: memory does not grow with the samples.
class sphere_fit
{
public:
    // Samples that are not finite are left out.
    void add(double x, double y, double z);

    std::uint64_t count() const
    {
        return static_cast<std::uint64_t>(sums_.count);
    }

    // None through fewer than four samples, nor through samples of one plane.
    std::optional<sphere> best() const;

private:
    Eigen::Vector3d origin_ = Eigen::Vector3d::Zero(); // the first sample, from which all are measured
    cloud sums_;
};

} // namespace qv6d
