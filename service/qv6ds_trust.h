// How far the offset can be trusted: a sphere that is fitted beside the library's, and what contradicts it.
#pragma once

#include "qv6ds_sample.h"
#include "qv6ds_sphere.h"

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
    double disturbance;   // microtesla, by how much at most, fading
    int64_t agrees_since; // ns, since when it is again

    int32_t status; // shown last

    bool jumped;                 // the field jumped, and the offset was not confirmed since
    double jump;                 // microtesla
    qv6ds_math::vec before_jump; // microtesla, the field that there would be without the jump, turned with the device

    bool resumed;      // the trusted sphere is that of an earlier run, and was not confirmed since
    int64_t turned_at; // ns, when the device was last seen in another direction
    qv6ds_math::vec turned_from;
    double last_norm; // microtesla
    qv6ds_math::vec last_field;
    bool any;
};

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

// Takes up what an earlier run trusted, to be confirmed.
void qv6ds_trust_resume(qv6ds_trust *trust, const qv6ds_sphere &samples, const qv6ds_fit &fit, double noise);

// A sample that is learnt from, soft iron taken off.
void qv6ds_trust_learn(qv6ds_trust *trust, const qv6ds_sample &sample);

// Every sample, soft iron taken off, before it is learnt from: follows the turning, notices a jump.
void qv6ds_trust_follow(qv6ds_trust *trust, const qv6ds_sample &sample);

// `offset` is the library's when it has validated one, else null.
qv6ds_judgement qv6ds_trust_judge(qv6ds_trust *trust, int64_t time, const qv6ds_math::vec *offset,
                                  const qv6ds_place *place);
