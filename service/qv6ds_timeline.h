// The sensors' samples in the order of their times: each field meets the acceleration and the turning of its own time.
#pragma once

#include "qv6ds_sample.h"

#include <cstdint>

// One sensor's latest samples. Times grow.
struct qv6ds_series
{
    static constexpr int32_t CAPACITY = 16384; // 10 s at 1000 Hz and as much again

    struct entry
    {
        int64_t time;
        qv6ds_math::vec value;
    };

    entry entries[CAPACITY];
    int64_t begin, end;  // counts of all samples ever taken; an entry is at its count modulo the capacity
    bool any;            // a sample was taken since the start
    int64_t last, ahead; // ns, time of the sample taken last; of one that was refused since it lies far ahead
    bool is_ahead;
    int32_t backward; // samples in a row from long before the last
};

struct qv6ds_timeline
{
    qv6ds_series sensors[3]; // by qv6ds_sensor; fields wait in theirs
    int64_t worked_until;    // ns, time of the field handed out last
    bool any_worked;
    int64_t first_field; // ns
    int64_t wait;        // ns, for the other sensors
    bool gyroscope_expected;
    qv6ds_math::vec drift; // rad/s, taken off the gyroscope
};

enum class qv6ds_taken
{
    yes,
    refused,   // a time that was there before, or is far ahead of those before
    ahead,     // far ahead of those before, as the sample in front of it: there was a gap, or the clock jumped
    clock_set, // the clock was set back: everything before is forgotten, and the sample is the first
};

void qv6ds_timeline_start(qv6ds_timeline *timeline, int64_t wait, bool gyroscope_expected);
qv6ds_taken qv6ds_timeline_put(qv6ds_timeline *timeline, int32_t sensor, int64_t time, qv6ds_math::vec value);

// The next field whose acceleration and turning have come, or with `now` whatever has come. False when there is none.
bool qv6ds_timeline_next(qv6ds_timeline *timeline, bool now, qv6ds_sample *sample);

// A field waits.
bool qv6ds_timeline_waits(const qv6ds_timeline *timeline);
