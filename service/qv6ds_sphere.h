// A sphere through field samples of different directions, with an honest error: the witness of an offset.
//
// Samples that lie close together say the same thing again and again, so that only one of them, the newest, is kept.
#pragma once

#include "qv6ds_vector.h"

#include <cstdint>

struct qv6ds_sphere
{
    static constexpr int CAPACITY = 64;

    qv6ds_math::vec kept[CAPACITY];
    int32_t count;
    double spacing; // microtesla, between kept samples; grows when the record is full
};

struct qv6ds_fit
{
    bool good;              // the figures below mean something
    qv6ds_math::vec centre; // microtesla
    double radius;          // microtesla
    double error;           // microtesla, of the centre, 95 %
    double residual;        // microtesla, standard deviation of the kept samples' distances from the sphere
    double systematic;      // microtesla, the part of it that is not noise
};

void qv6ds_sphere_clear(qv6ds_sphere *sphere);
void qv6ds_sphere_add(qv6ds_sphere *sphere, qv6ds_math::vec sample);
void qv6ds_sphere_drop_older_half(qv6ds_sphere *sphere);

// Least squares of |p|² = 2 c p + d over the kept samples. `noise`, microtesla, is the sensor's standard deviation per
// axis, as far as it is known: what the residual has beyond it counts as one error that all samples share.
qv6ds_fit qv6ds_sphere_fit(const qv6ds_sphere *sphere, double noise);

// What came from a file can be used.
bool qv6ds_sphere_sound(const qv6ds_sphere &sphere);
