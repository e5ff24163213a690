#include "qv6ds_timeline.h"

#include "qv6ds_units.h"
#include "qv6dservice.h"

#include <cstdlib>

using namespace qv6ds_math;

// A sample so far after the one before it belongs to another clock, unless the next one comes from there too.
static constexpr int64_t AHEAD = 10 * SECOND;

// A bracket wider than this says nothing of the time between.
static constexpr int64_t BRACKET = SECOND / 2;

// Samples in a row that come from more than a second before the newest: the clock was set back.
static constexpr int32_t BACKWARD_MAX = 3;

void qv6ds_timeline_start(qv6ds_timeline *timeline, int64_t wait, bool gyroscope_expected)
{
    for (qv6ds_series &series : timeline->sensors)
    {
        series.begin = series.end = series.backward = 0;
        series.any = series.is_ahead = false;
    }
    timeline->any_worked = false;
    timeline->worked_until = 0;
    timeline->wait = wait;
    timeline->gyroscope_expected = gyroscope_expected;
}

static const qv6ds_series::entry &at(const qv6ds_series &series, int64_t index)
{
    return series.entries[index % qv6ds_series::CAPACITY];
}

static bool is_empty(const qv6ds_series &series)
{
    return series.begin == series.end;
}

// A sample far ahead is held back once, and taken with the next one when that comes from there too.
static bool is_far_ahead(qv6ds_series *series, int64_t time)
{
    if (!series->any || time - series->last <= AHEAD)
        return false;
    const bool again = series->is_ahead && time > series->ahead && time - series->ahead <= AHEAD;
    series->is_ahead = true;
    series->ahead = time;
    return !again;
}

qv6ds_taken qv6ds_timeline_put(qv6ds_timeline *timeline, int32_t sensor, int64_t time, vec value)
{
    qv6ds_series *series = &timeline->sensors[sensor];
    qv6ds_taken taken = qv6ds_taken::yes;
    if (series->any && time <= series->last)
    {
        const bool far = series->last - time > SECOND;
        series->backward = far ? series->backward + 1 : 0;
        if (series->backward < BACKWARD_MAX)
            return qv6ds_taken::refused;
        qv6ds_timeline_start(timeline, timeline->wait, timeline->gyroscope_expected);
        timeline->worked_until = time;
        taken = qv6ds_taken::clock_set;
    }
    if (is_far_ahead(series, time))
        return qv6ds_taken::refused;
    if (series->is_ahead && time - series->last > AHEAD)
        taken = qv6ds_taken::ahead;
    series->backward = 0;
    series->is_ahead = false;
    if (sensor == QV6DS_MAGNETOMETER && !series->any)
        timeline->first_field = time;
    series->any = true;
    series->last = time;
    if (series->end - series->begin == qv6ds_series::CAPACITY)
        ++series->begin;
    series->entries[series->end++ % qv6ds_series::CAPACITY] = {time, value};
    return taken;
}

// The field at this time has to wait for a sample of the sensor: one that is not silent for longer than a field waits.
static bool is_awaited(const qv6ds_timeline &timeline, int32_t sensor, int64_t time)
{
    const qv6ds_series &series = timeline.sensors[sensor];
    if (timeline.sensors[QV6DS_MAGNETOMETER].last - time > timeline.wait)
        return false;
    if (series.any)
        return series.last < time && time - series.last <= timeline.wait;
    const bool expected = sensor == QV6DS_ACCELEROMETER || timeline.gyroscope_expected;
    return expected && time - timeline.first_field <= timeline.wait;
}

// The first sample that is not before a time.
static int64_t first_from(const qv6ds_series &series, int64_t time)
{
    int64_t low = series.begin, high = series.end;
    while (low < high)
    {
        const int64_t middle = low + (high - low) / 2;
        if (at(series, middle).time < time)
            low = middle + 1;
        else
            high = middle;
    }
    return low;
}

// Between the two samples around a time, or the one that is near enough; false without.
static bool value_at(const qv6ds_series &series, int64_t time, vec *value)
{
    const int64_t next = first_from(series, time);
    const qv6ds_series::entry *after = next < series.end ? &at(series, next) : nullptr;
    const qv6ds_series::entry *before = next > series.begin ? &at(series, next - 1) : nullptr;
    if (after != nullptr && (after->time == time || before == nullptr || after->time - before->time > BRACKET))
    {
        const bool near_before = before != nullptr && time - before->time < after->time - time;
        const qv6ds_series::entry *nearest = near_before ? before : after;
        *value = nearest->value;
        return std::abs(time - nearest->time) <= BRACKET / 2;
    }
    if (before == nullptr)
        return false;
    *value = before->value;
    if (after == nullptr)
        return time - before->time <= BRACKET / 2;
    const double share = static_cast<double>(time - before->time) / static_cast<double>(after->time - before->time);
    *value = before->value + share * (after->value - before->value);
    return true;
}

// The turn from one time to another. A gyroscope's sample is the mean rate since the one before.
static bool turn_between(const qv6ds_series &series, vec drift, int64_t from, int64_t to, vec *turn)
{
    int64_t i = first_from(series, from + 1);
    if (i == series.end || to <= from || to - from > BRACKET || at(series, i).time - from > BRACKET)
        return false;
    quaternion turned_by = UNTURNED;
    vec rate;
    for (int64_t begun = from; begun < to; ++i)
    {
        const bool last = i == series.end || at(series, i).time >= to;
        if (i < series.end)
            rate = at(series, i).value - drift;
        else if (to - series.last > BRACKET / 2)
            return false;
        const int64_t until = last ? to : at(series, i).time;
        turned_by = turned_by * rotation((static_cast<double>(until - begun) * SECONDS) * rate);
        begun = until;
    }
    *turn = rotation_vector(normalized(turned_by));
    return true;
}

bool qv6ds_timeline_next(qv6ds_timeline *timeline, bool now, qv6ds_sample *sample)
{
    qv6ds_series *fields = &timeline->sensors[QV6DS_MAGNETOMETER];
    if (is_empty(*fields))
        return false;
    const qv6ds_series::entry &field = at(*fields, fields->begin);
    const bool full = fields->end - fields->begin == qv6ds_series::CAPACITY;
    if (!now && !full &&
        (is_awaited(*timeline, QV6DS_ACCELEROMETER, field.time) || is_awaited(*timeline, QV6DS_GYROSCOPE, field.time)))
        return false;

    *sample = {};
    sample->time = field.time;
    sample->field = field.value;
    sample->has_force = value_at(timeline->sensors[QV6DS_ACCELEROMETER], field.time, &sample->force);
    sample->has_rotation = timeline->any_worked && turn_between(timeline->sensors[QV6DS_GYROSCOPE], timeline->drift,
                                                                timeline->worked_until, field.time, &sample->rotation);
    timeline->worked_until = field.time;
    timeline->any_worked = true;
    ++fields->begin;
    return true;
}

bool qv6ds_timeline_waits(const qv6ds_timeline *timeline)
{
    return !is_empty(timeline->sensors[QV6DS_MAGNETOMETER]);
}
