#include "common/cloud.h"

#include <algorithm>
#include <cmath>

namespace qv6d
{

using Eigen::Matrix3d;
using Eigen::Vector3d;

// |p|² = 2 c p + (r² - |c|²) is linear in the centre c. With the means taken off, 2 cov(p) c = cov(p, |p|²).
algebraic_sphere sphere_through(const cloud &of, double pull)
{
    const Vector3d mean = of.sum / of.count;
    const double mean_square = of.squares / of.count;
    const Matrix3d scatter = of.products / of.count - mean * mean.transpose();
    const Vector3d right = of.cubes / of.count - mean * mean_square;
    const Vector3d centre = (scatter + pull * Matrix3d::Identity()).inverse() * right / 2.0;
    const double variance = of.fourths / of.count - mean_square * mean_square - 4.0 * centre.dot(right) +
                            4.0 * centre.dot(scatter * centre);
    const double square = mean_square - 2.0 * centre.dot(mean) + centre.squaredNorm();
    return {centre, std::sqrt(std::max(0.0, square)), of.count * std::max(0.0, variance)};
}

} // namespace qv6d
