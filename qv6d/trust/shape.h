// Soft iron as a recording shows it: the shape of the ellipsoid that the field lies on.
#pragma once

#include "trust/timeline.h"

namespace qv6d
{

// Kept samples that share one error of the place.
inline constexpr double DEPENDENT = 3.0;

using shape_parameters = Eigen::Matrix<double, 5, 1>;
using shape_covariance = Eigen::Matrix<double, 5, 5>;

// (m - c)' (I + Q) (m - c) = r², Q symmetric without trace.
struct field_shape
{
    shape_parameters q;          // xx, yy, xy, xz, yz of Q
    shape_covariance covariance; // of these
    double noise;                // microtesla: what no sphere explains
    double radius;               // microtesla, typical

    Eigen::Matrix3d to_sphere() const; // symmetric root of I + Q
};

// What each of the five does to the square of a vector.
shape_parameters shape_row(const Eigen::Vector3d &v);

// A sphere, as nothing is known yet but how much the samples scatter around one.
field_shape plain_shape(const std::vector<kept_sample> &samples);

// What the samples of some stretches say of the shape: normal equations with the stretches' own centres and radii taken
// off, so that a step of the offset does not look like soft iron.
struct shape_equations
{
    shape_covariance information = shape_covariance::Zero();
    shape_parameters right = shape_parameters::Zero();
};

// `residual` is what the stretches leave, microtesla. Where the recording shows too little, the shape stays near a
// sphere.
field_shape improved(const field_shape &shape, double residual, const shape_equations &seen);

} // namespace qv6d
