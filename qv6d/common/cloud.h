// A sphere through many points from their sums.
#pragma once

#include <Eigen/Dense>

namespace qv6d
{

// Sums over points.
struct cloud
{
    double count = 0.0, squares = 0.0, fourths = 0.0;
    Eigen::Vector3d sum = Eigen::Vector3d::Zero(), cubes = Eigen::Vector3d::Zero();
    Eigen::Matrix3d products = Eigen::Matrix3d::Zero();

    void add(const Eigen::Vector3d &p)
    {
        const double square = p.squaredNorm();
        count += 1.0;
        squares += square;
        fourths += square * square;
        sum += p;
        cubes += square * p;
        products += p * p.transpose();
    }
};

inline cloud operator-(cloud a, const cloud &b)
{
    a.count -= b.count;
    a.squares -= b.squares;
    a.fourths -= b.fourths;
    a.sum -= b.sum;
    a.cubes -= b.cubes;
    a.products -= b.products;
    return a;
}

struct algebraic_sphere
{
    Eigen::Vector3d centre;
    double radius;
    double misfit; // sum of the squares of |p|² - 2 c p - k
};

// `pull`, microtesla²: points that show little of a sphere have it around the origin.
algebraic_sphere sphere_through(const cloud &of, double pull);

} // namespace qv6d
