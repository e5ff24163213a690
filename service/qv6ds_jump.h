// Notices that the field jumped though the device did not turn so, also when a filter in the sensor spreads the jump
// over many samples, and that what made it jump is gone again.
#pragma once

#include "qv6ds_sample.h"

// A field of a moment ago, turned with the device since then.
struct qv6ds_anchor
{
    int64_t time; // ns
    qv6ds_math::vec field, force;
    bool has_force;
    double path; // rad, turned since then, in whatever direction
    bool turns;  // every sample since then had its rotation
};

// What is known of the field without a jump.
struct qv6ds_expected
{
    qv6ds_math::vec centre;      // microtesla
    double radius, error, noise; // microtesla
    bool calm;                   // nothing speaks against the centre
};

struct qv6ds_jump
{
    static constexpr int ANCHORS = 4;

    qv6ds_anchor anchors[ANCHORS]; // the oldest one first
    int32_t count;
    bool jumped;       // and is not back
    qv6ds_anchor home; // before it jumped, or before something came near
    double size;       // microtesla, how far the field is from there
    int64_t time;      // ns, of the sample before
};

void qv6ds_jump_forget_time(qv6ds_jump *jump);

// Takes every sample in turn; true when the field has jumped with this one.
bool qv6ds_jump_follow(qv6ds_jump *jump, const qv6ds_sample &sample, const qv6ds_expected &expected);
