#include "trust/fit.h"

#include "common/cloud.h"

#include <Eigen/Cholesky>
#include <Eigen/LU>
#include <algorithm>
#include <cmath>
#include <span>

namespace qv6d
{

using Eigen::Matrix4d;
using Eigen::Vector3d;
using Eigen::Vector4d;

namespace
{

using place_by_shape = Eigen::Matrix<double, 4, 5>;

constexpr int STEPS = 60;                               // of the fit; most need five
constexpr double DAMPING = 1e-3;                        // at first
constexpr double SETTLED = 1e-4;                        // microtesla: a smaller step is the last one
constexpr double PULLS[] = {1e-3, 1.0};                 // microtesla², of the two first guesses
constexpr double RESIDUAL_MIN = 0.2;                    // microtesla
constexpr double NEVER = 1e3;                           // microtesla: an error that says nothing
constexpr double RADIUS_LEAST = 0.3, RADIUS_MOST = 2.0; // of the typical one
constexpr double TINY = 1e-6;                           // microtesla: a point at the centre has no direction

struct guess
{
    Vector3d centre;
    double radius;
};

// A point as the fit sees it: its direction and 1, and how far off it is.
struct sighting
{
    sighting(const Vector3d &p, const guess &at)
    {
        const Vector3d from_centre = p - at.centre;
        const double distance = std::max(TINY, from_centre.norm());
        place << from_centre / distance, 1.0;
        off = distance - at.radius;
        // With the distance instead of the radius, noise would look like soft iron.
        shape = shape_row(place.head<3>()) * (at.radius / 2.0);
    }

    Vector4d place;
    shape_parameters shape;
    double off;
};

struct equations
{
    equations(std::span<const Vector3d> points, const guess &at)
    {
        for (const Vector3d &p : points)
        {
            const sighting seen(p, at);
            places += seen.place * seen.place.transpose();
            right += seen.place * seen.off;
            mixed += seen.place * seen.shape.transpose();
            squares += seen.off * seen.off;
        }
    }

    Matrix4d places = Matrix4d::Zero();
    Vector4d right = Vector4d::Zero();
    place_by_shape mixed = place_by_shape::Zero();
    double squares = 0.0;
};

// Gauss and Newton with the damping of Levenberg and Marquardt: on a cap of the sphere the way is long.
guess settled(guess at, std::span<const Vector3d> points)
{
    double damping = DAMPING;
    equations here(points, at);
    for (int step = 0; step < STEPS; ++step)
    {
        Matrix4d damped = here.places;
        damped.diagonal() *= 1.0 + damping;
        const Vector4d change = damped.ldlt().solve(here.right);
        const guess next = {at.centre + change.head<3>(), at.radius + change[3]};
        const equations there(points, next);
        const bool better = there.squares <= here.squares;
        damping *= better ? 0.2 : 10.0;
        if (!better)
            continue;
        at = next;
        here = there;
        if (change.norm() < SETTLED)
            break;
    }
    return at;
}

// Noise, and what the error of the shape does to the centre.
double error_of(const equations &sums, const shape_covariance &shapes, double residual)
{
    const Eigen::FullPivLU<Matrix4d> solver(sums.places);
    if (!solver.isInvertible())
        return NEVER;
    const Matrix4d inverse = solver.inverse();
    const place_by_shape by_shape = inverse * sums.mixed;
    const Matrix4d covariance = DEPENDENT * residual * residual * inverse + by_shape * shapes * by_shape.transpose();
    const double variance = covariance.topLeftCorner<3, 3>().trace();
    return variance >= 0.0 ? std::min(NEVER, 2.0 * std::sqrt(variance)) : NEVER;
}

std::span<const Vector3d> points_of(const sphere_space &space, std::size_t begin, std::size_t end)
{
    return std::span(space.points).subspan(begin, end - begin);
}

guess sphere_in(const sphere_space &space, const stretch &s)
{
    return {space.to_sphere * s.centre - space.origin, s.radius};
}

} // namespace

sphere_space::sphere_space(const std::vector<kept_sample> &samples, const field_shape &shape)
    : shape(shape), to_sphere(shape.to_sphere())
{
    for (const kept_sample &s : samples)
        points.push_back(to_sphere * s.field);
    for (const Vector3d &p : points)
        origin += p / static_cast<double>(points.size());
    for (Vector3d &p : points)
        p -= origin;
}

stretch fitted(const sphere_space &space, std::size_t begin, std::size_t end)
{
    const std::span points = points_of(space, begin, end);
    cloud sums;
    for (const Vector3d &p : points)
        sums.add(p);
    guess best = {};
    double squares = HUGE_VAL;
    for (const double pull : PULLS)
    {
        const algebraic_sphere first = sphere_through(sums, pull);
        const guess found = settled({first.centre, first.radius}, points);
        const double misfit = equations(points, found).squares;
        if (misfit < squares)
        {
            best = found;
            squares = misfit;
        }
    }
    const double residual = std::sqrt(squares / static_cast<double>(points.size()));
    stretch s = {begin, end, space.to_sphere.inverse() * (best.centre + space.origin), best.radius, NEVER, residual};
    if (best.radius >= RADIUS_LEAST * space.shape.radius && best.radius <= RADIUS_MOST * space.shape.radius)
        s.error = error_of(equations(points, best), space.shape.covariance, std::max(RESIDUAL_MIN, residual));
    return s;
}

double distance_from(const sphere_space &space, const stretch &s, std::size_t sample)
{
    return std::abs(sighting(space.points[sample], sphere_in(space, s)).off);
}

shape_equations shape_seen(const sphere_space &space, const std::vector<stretch> &stretches)
{
    shape_equations all;
    for (const stretch &s : stretches)
    {
        const guess at = sphere_in(space, s);
        const std::span points = points_of(space, s.begin, s.end);
        shape_covariance own = shape_covariance::Zero();
        shape_parameters right = shape_parameters::Zero();
        for (const Vector3d &p : points)
        {
            const sighting seen(p, at);
            own += seen.shape * seen.shape.transpose();
            right -= seen.shape * seen.off;
        }
        const equations sums(points, at);
        const place_by_shape taken = (sums.places + 1e-3 * Matrix4d::Identity()).ldlt().solve(sums.mixed);
        all.information += own - sums.mixed.transpose() * taken;
        all.right += right + taken.transpose() * sums.right;
    }
    return all;
}

} // namespace qv6d
