#include "trust/shape.h"

#include "common/cloud.h"
#include "common/statistics.h"

#include <Eigen/Cholesky>
#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>

namespace qv6d
{

using Eigen::Matrix3d;
using Eigen::Vector3d;

namespace
{

constexpr std::size_t WINDOW = 100;     // samples: some seconds of turning
constexpr double PRIOR = 0.025;         // of each of the five, standard deviation: phones have some percent
constexpr double TYPICAL_RADIUS = 45.0; // microtesla
constexpr double WINDOW_PULL = 1e-3;    // microtesla²
constexpr double RADIUS_MIN = 15.0, RADIUS_MAX = 100.0;
constexpr double NOISE_LEAST = 0.2;  // microtesla
constexpr double STRETCH_MIN = 0.25; // of the squares: a shape that has one is none of soft iron

} // namespace

shape_parameters shape_row(const Vector3d &v)
{
    shape_parameters row;
    row << v.x() * v.x() - v.z() * v.z(), v.y() * v.y() - v.z() * v.z(), 2.0 * v.x() * v.y(), 2.0 * v.x() * v.z(),
        2.0 * v.y() * v.z();
    return row;
}

Matrix3d field_shape::to_sphere() const
{
    Matrix3d m;
    m << q[0], q[2], q[3], q[2], q[1], q[4], q[3], q[4], -q[0] - q[1];
    const Eigen::SelfAdjointEigenSolver<Matrix3d> axes(Matrix3d::Identity() + m);
    return axes.eigenvectors() * axes.eigenvalues().cwiseMax(STRETCH_MIN).cwiseSqrt().asDiagonal() *
           axes.eigenvectors().transpose();
}

field_shape plain_shape(const std::vector<kept_sample> &samples)
{
    std::vector<double> radii, residuals;
    for (std::size_t i = 0; i + WINDOW / 2 <= samples.size(); i += WINDOW)
    {
        cloud window;
        for (std::size_t k = i; k < std::min(samples.size(), i + WINDOW); ++k)
            window.add(samples[k].field - samples[i].field);
        const algebraic_sphere sphere = sphere_through(window, WINDOW_PULL);
        residuals.push_back(std::sqrt(sphere.misfit / window.count) / (2.0 * sphere.radius));
        if (sphere.radius > RADIUS_MIN && sphere.radius < RADIUS_MAX)
            radii.push_back(sphere.radius);
    }
    return {shape_parameters::Zero(), shape_covariance::Identity() * PRIOR * PRIOR,
            std::max(NOISE_LEAST, residuals.empty() ? 0.0 : median_of(residuals)),
            radii.empty() ? TYPICAL_RADIUS : median_of(radii)};
}

field_shape improved(const field_shape &shape, double residual, const shape_equations &seen)
{
    const double noise = std::max(NOISE_LEAST, residual), weight = 1.0 / (DEPENDENT * noise * noise);
    const shape_covariance prior = shape_covariance::Identity() / (PRIOR * PRIOR);
    const Eigen::LDLT<shape_covariance> solver(prior + weight * seen.information);
    field_shape better = shape;
    better.noise = noise;
    better.q += solver.solve(weight * seen.right - prior * shape.q);
    better.covariance = solver.solve(shape_covariance::Identity());
    return better;
}

} // namespace qv6d
