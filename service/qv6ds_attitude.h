// Where the device points: from gravity and the field, held between samples by the gyroscope when there is one.
#pragma once

#include "qv6ds_sample.h"
#include "qv6ds_trust.h"

struct qv6ds_attitude
{
    qv6ds_math::quaternion to_world; // device to east, north, up; north is magnetic
    bool any;
    int64_t time;          // ns, of the sample that it belongs to
    qv6ds_math::vec drift; // rad/s, what the gyroscope says at rest
    double gravity;        // m/s², as this accelerometer feels it at rest
    double gravity_count;  // samples that it was measured from
    qv6ds_math::vec last_force;

    // Means over the time in which gravity is followed. What leans to and fro averages out; what leans for longer is
    // taken for gravity, and shows only in the strength of what is felt.
    qv6ds_math::vec lean; // rad, of the acceleration from the attitude's up, in the world
    double lean_square;   // rad²
    double excess;        // m/s², of the acceleration's strength over gravity's

    int64_t apart_at; // ns, since when gyroscope and the two others contradict each other
    bool apart;
};

struct qv6ds_heading
{
    uint32_t reasons;
    qv6ds_math::quaternion to_world; // declination included
    double azimuth, pitch, roll;     // degrees
    double error;                    // degrees, 95 %; 180: no meaning
};

void qv6ds_attitude_start(qv6ds_attitude *attitude);

// Takes a sample with soft iron taken off. Where nothing can be said the attitude before is kept.
qv6ds_heading qv6ds_attitude_update(qv6ds_attitude *attitude, const qv6ds_sample &sample,
                                    const qv6ds_judgement &judgement, double noise, const qv6ds_place &place);
