// Keeps what is no field away from everything: not finite, zero, saturated, stuck, and glitches of up to five samples.
#pragma once

#include "qv6ds_sample.h"

struct qv6ds_guard
{
    static constexpr int HELD_MAX = 6; // one more than the longest glitch

    double range;      // microtesla, of a component; from there on it is saturated
    qv6ds_sample last; // let through last
    bool any;
    double path;                 // rad, turned since then, in whatever direction
    bool path_known;             // every sample since then had its rotation
    qv6ds_math::quaternion lost; // what was turned up to the samples that were refused since then
    qv6ds_sample held[HELD_MAX]; // too far from the last one: a glitch, or the first ones after a jump or a gap
    int32_t held_count;
    qv6ds_sample repeated; // the first one of those with the same numbers
    double repeated_path;  // rad, turned since then
    int64_t refused;       // samples
};

void qv6ds_guard_start(qv6ds_guard *guard, double range);

// After a clock was set nothing is compared with a time before.
void qv6ds_guard_forget_time(qv6ds_guard *guard);

// Takes a sample and writes those that are let through, in their order, to let[HELD_MAX + 1]. Returns how many.
int32_t qv6ds_guard_pass(qv6ds_guard *guard, const qv6ds_sample &sample, qv6ds_sample *let);
