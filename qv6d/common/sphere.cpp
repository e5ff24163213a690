#include "common/sphere.h"

#include <Eigen/Eigenvalues>
#include <cmath>
#include <fmt/format.h>

namespace qv6d
{

// Of the radius. Hand-turned devices with a good fit stay well within: a residual of 0.03 to 0.06, a thickness above
// 0.3.
static constexpr double RESIDUAL_MAX = 0.1, THICKNESS_MIN = 0.1;

// Smallest to largest variance: below it the samples lie in a plane, up to rounding.
static constexpr double FLAT = 1e-12;

std::string why_not_trusted(const sphere &s)
{
    if (!(s.thickness >= THICKNESS_MIN * s.radius))
        return fmt::format("the samples lie almost in a plane, within ± {:.2f} µT", s.thickness);
    if (!(s.residual <= RESIDUAL_MAX * s.radius))
        return fmt::format("the samples do not lie on one sphere, by ± {:.2f} µT at a radius of {:.2f} µT", s.residual,
                           s.radius);
    return "";
}

void sphere_fit::add(double x, double y, double z)
{
    const Eigen::Vector3d field(x, y, z);
    if (!field.allFinite())
        return;
    if (sums_.count == 0.0)
        origin_ = field;
    sums_.add(field - origin_);
}

std::optional<sphere> sphere_fit::best() const
{
    if (sums_.count < 4.0)
        return std::nullopt;
    const Eigen::Vector3d mean = sums_.sum / sums_.count;
    const Eigen::Matrix3d scatter = sums_.products / sums_.count - mean * mean.transpose();
    const Eigen::Vector3d variances =
        Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d>(scatter, Eigen::EigenvaluesOnly).eigenvalues(); // ascending
    if (!(variances[0] > FLAT * variances[2]))
        return std::nullopt;

    // The misfit of the squares is (distance - r)(distance + r), about 2 r (distance - r).
    const auto [centre, radius, misfit] = sphere_through(sums_, 0.0);
    const double residual = std::sqrt(misfit / sums_.count) / (2.0 * radius);
    if (!std::isfinite(radius) || !std::isfinite(residual))
        return std::nullopt;
    const Eigen::Vector3d at = centre + origin_;
    return sphere{{at.x(), at.y(), at.z()}, radius, residual, std::sqrt(variances[0])};
}

} // namespace qv6d
