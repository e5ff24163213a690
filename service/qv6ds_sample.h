// A field sample with what the other sensors said at its time.
#pragma once

#include "qv6ds_vector.h"

#include <cstdint>

struct qv6ds_sample
{
    int64_t time;             // ns
    qv6ds_math::vec field;    // microtesla, device axes
    qv6ds_math::vec force;    // m/s², device axes
    qv6ds_math::vec rotation; // rad, of the device since the sample before, in device axes
    bool has_force;
    bool has_rotation;
    bool jumped; // the field jumped in front of this sample, further than the device can have turned it
};
