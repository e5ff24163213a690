#include "common/sphere.h"

#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>
#include <fmt/format.h>

namespace qv6d
{

using Eigen::Matrix3d;
using Eigen::Vector3d;

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
    if (!std::isfinite(x) || !std::isfinite(y) || !std::isfinite(z))
        return;
    if (count_++ == 0)
        origin_ = {x, y, z};
    const std::array<double, 3> p = {x - origin_[0], y - origin_[1], z - origin_[2]};
    const double square = p[0] * p[0] + p[1] * p[1] + p[2] * p[2];
    for (std::size_t i = 0, k = 0; i < 3; ++i)
    {
        sum_[i] += p[i];
        cubes_[i] += p[i] * square;
        for (std::size_t j = i; j < 3; ++j)
            products_[k++] += p[i] * p[j];
    }
    fourths_ += square * square;
}

// |p|² = 2 c p + (r² - |c|²) is linear in the centre c. With the means taken off, 2 cov(p) c = cov(p, |p|²).
std::optional<sphere> sphere_fit::best() const
{
    const auto n = static_cast<double>(count_);
    if (count_ < 4)
        return std::nullopt;
    Matrix3d second;
    second << products_[0], products_[1], products_[2], products_[1], products_[3], products_[4], products_[2],
        products_[4], products_[5];
    const Vector3d mean = Vector3d(sum_.data()) / n;
    const Matrix3d scatter = second / n - mean * mean.transpose();
    const double mean_square = second.trace() / n;
    const Vector3d right = Vector3d(cubes_.data()) / n - mean * mean_square;

    const Eigen::SelfAdjointEigenSolver<Matrix3d> axes(scatter);
    const Vector3d &variances = axes.eigenvalues(); // ascending
    if (!(variances[0] > FLAT * variances[2]))
        return std::nullopt;
    const Vector3d centre =
        axes.eigenvectors() * (axes.eigenvectors().transpose() * right / 2.0).cwiseQuotient(variances);

    // The misfit of the squares is (distance - r)(distance + r), about 2 r (distance - r).
    const double radius = std::sqrt(mean_square - 2.0 * centre.dot(mean) + centre.squaredNorm());
    const double misfit = fourths_ / n - mean_square * mean_square - 2.0 * centre.dot(right);
    const double residual = std::sqrt(std::max(0.0, misfit)) / (2.0 * radius);
    if (!std::isfinite(radius) || !std::isfinite(residual))
        return std::nullopt;
    return sphere{{centre[0] + origin_[0], centre[1] + origin_[1], centre[2] + origin_[2]},
                  radius,
                  residual,
                  std::sqrt(variances[0])};
}

} // namespace qv6d
