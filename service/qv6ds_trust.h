// How far the offset can be trusted: a sphere that is fitted beside the library's, and what contradicts it.
#pragma once

#include "qv6ds_jump.h"
#include "qv6ds_sample.h"
#include "qv6ds_sphere.h"

#include <limits>

// Where on earth the device is, as far as it is told.
struct qv6ds_place
{
    bool known;
    double declination, inclination; // rad
    double strength;                 // microtesla
};

struct qv6ds_trust
{
    // The sphere that is trusted, and the one that is built beside it when something speaks against that, or before.
    qv6ds_sphere trusted_samples, young_samples;
    qv6ds_fit trusted, young; // good: there is one
    int64_t young_since;      // ns, when the young sphere was begun
    double noise;             // microtesla, standard deviation per axis; infinite when not known
    double allowance;         // microtesla, by which the norm may differ from the trusted radius beside noise
    double noise_count;       // samples that it was measured from

    // The trusted sphere as it was one to two seconds ago, and as it was a second before that: what comes slowly nearer
    // is learnt from before it is noticed, and forgotten then.
    qv6ds_sphere calm_samples[2];
    double calm_allowance[2];
    int64_t calm_at; // ns, of the newer one

    bool disturbed;       // the field's norm is not the radius
    double disturbance;   // microtesla, by how much at most
    int64_t agrees_since; // ns, since when it is again
    qv6ds_jump jump;      // the field jumped, and the offset was not confirmed since

    double dip, dip_count; // rad below the horizon, mean of the last seconds, and samples that it was measured from
    bool resumed;          // the trusted sphere is that of an earlier run, and was not confirmed since
    int64_t turned_at;     // ns, when the device was last seen in another direction
    qv6ds_math::vec turned_from;
    qv6ds_math::vec last_field;
    bool any;       // a sample came since the start, or since a clock was set
    int32_t status; // shown last
};

// Errors of the offset, microtesla, up to which a status is shown. Across a horizontal field of 24 microtesla they turn
// the heading by 7, 14 and 56 degrees.
inline constexpr double QV6DS_ERROR_AT[4] = {std::numeric_limits<double>::infinity(), 20.0, 6.0, 3.0};

// What is published.
struct qv6ds_judgement
{
    int32_t status;
    uint32_t reasons;
    qv6ds_math::vec bias;
    double radius, error; // microtesla
    double disturbance;   // microtesla, 0 when there is none
};

void qv6ds_trust_start(qv6ds_trust *trust);

// After a clock was set nothing is compared with a time before.
void qv6ds_trust_forget_time(qv6ds_trust *trust);

// Takes up what an earlier run trusted, to be confirmed. A sphere fits well through the samples.
void qv6ds_trust_resume(qv6ds_trust *trust, const qv6ds_sphere &samples, double noise);

// A sample that is learnt from, soft iron taken off.
void qv6ds_trust_learn(qv6ds_trust *trust, const qv6ds_sample &sample);

// Every sample, soft iron taken off, before it is learnt from: follows the turning, notices a jump.
void qv6ds_trust_follow(qv6ds_trust *trust, const qv6ds_sample &sample);

// `offset` is the library's when it has validated one, else null.
qv6ds_judgement qv6ds_judge(qv6ds_trust *trust, int64_t time, const qv6ds_math::vec *offset, const qv6ds_place *place);
