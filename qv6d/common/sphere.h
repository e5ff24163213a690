// The best sphere through a cloud of field samples: what a calibration can be measured against afterwards.
#pragma once

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
        return count_;
    }

    // None through fewer than four samples, nor through samples of one plane.
    std::optional<sphere> best() const;

private:
    std::uint64_t count_ = 0;
    std::array<double, 3> origin_ = {};   // the first sample, from which all are measured
    std::array<double, 3> sum_ = {};      // of p
    std::array<double, 6> products_ = {}; // of xx, xy, xz, yy, yz, zz
    std::array<double, 3> cubes_ = {};    // of p |p|²
    double fourths_ = 0.0;                // of |p|⁴
};

} // namespace qv6d
