// The sphere that a part of a recording lies on, with soft iron taken off, and how well its centre is known.
#pragma once

#include "trust/shape.h"

namespace qv6d
{

// The samples on the sphere that soft iron makes an ellipsoid of, from their mean.
struct sphere_space
{
    sphere_space(const std::vector<kept_sample> &samples, const field_shape &shape);

    const field_shape &shape;
    Eigen::Matrix3d to_sphere;
    Eigen::Vector3d origin = Eigen::Vector3d::Zero();
    std::vector<Eigen::Vector3d> points;
};

// Samples in which one sphere fits. Microtesla.
struct stretch
{
    std::size_t begin, end;
    Eigen::Vector3d centre; // of the field as measured
    double radius;
    double error;    // the centre is nearer to the truth than this in 95 of 100 stretches
    double residual; // root mean square
};

// Distances from the sphere are made small, not differences of squares: noise does not shrink it.
stretch fitted(const sphere_space &space, std::size_t begin, std::size_t end);

// How far a sample is from the sphere of a stretch.
double distance_from(const sphere_space &space, const stretch &s, std::size_t sample);

// What the stretches say of the shape beyond the one that the space has taken off.
shape_equations shape_seen(const sphere_space &space, const std::vector<stretch> &stretches);

} // namespace qv6d
