#include "qv6ds_guard.h"
#include "qv6ds_units.h"

#include <algorithm>

using namespace qv6ds_math;

static constexpr double FIELD_MAX = 70.0;  // microtesla, of the earth and what surrounds a device that can calibrate
static constexpr double TURN_MAX = 20.0;   // rad/s, of a device in a hand
static constexpr double STEADY_TURN = 5.0; // rad/s, about gravity, of one whose acceleration stays
static constexpr double STEADY = 0.5;      // m/s²
static constexpr double STUCK = 0.3;       // rad, turned without any change of the field, or of gravity alone
static constexpr double JUMP_MIN = 6.0;    // microtesla: what noise does not do
static constexpr int64_t GAP = 500000000;  // ns, after which nothing is expected of the next sample
static constexpr int32_t AFTER_GAP = 2;    // samples that have to follow each other then

void qv6ds_guard_start(qv6ds_guard *guard, double range)
{
    *guard = {};
    guard->range = range;
    guard->lost = UNTURNED;
}

void qv6ds_guard_forget_time(qv6ds_guard *guard)
{
    guard->any = false;
    guard->held_count = 0;
    guard->lost = UNTURNED;
}

static bool is_field(const qv6ds_guard &guard, vec f)
{
    const double largest = std::max({std::fabs(f.x), std::fabs(f.y), std::fabs(f.z)});
    return is_finite(f) && largest > 0.0 && largest < guard.range;
}

// How far the device can have turned from one sample to another.
static double turned_at_most(const qv6ds_sample &from, const qv6ds_sample &to, double path, bool path_known)
{
    if (path_known)
        return 1.2 * path;
    const bool steady = from.has_force && to.has_force && norm(to.force - from.force) < STEADY;
    return (steady ? STEADY_TURN : TURN_MAX) * SECONDS * static_cast<double>(to.time - from.time);
}

static bool follows(const qv6ds_sample &from, const qv6ds_sample &to, double path, bool path_known)
{
    const double turned = std::min(turned_at_most(from, to, path, path_known), 2.0);
    return norm(to.field - from.field) < JUMP_MIN + FIELD_MAX * turned;
}

static bool is_same(vec a, vec b)
{
    return a.x == b.x && a.y == b.y && a.z == b.z;
}

// The same numbers again and again are those of a sensor that hangs, once the device has turned.
static bool is_stuck(qv6ds_guard *guard, const qv6ds_sample &sample)
{
    if (!guard->any || !is_same(sample.field, guard->repeated.field))
    {
        guard->repeated = sample;
        guard->repeated_path = 0.0;
        return false;
    }
    guard->repeated_path += norm(sample.rotation);
    const bool tilted =
        sample.has_force && guard->repeated.has_force && angle(sample.force, guard->repeated.force) > STUCK;
    return guard->repeated_path > STUCK || tilted;
}

static void let_through(qv6ds_guard *guard, const qv6ds_sample &sample, qv6ds_sample *let, int32_t *count)
{
    let[*count] = sample;
    let[*count].has_rotation = sample.has_rotation && guard->path_known;
    let[*count].rotation = rotation_vector(guard->lost * rotation(sample.rotation));
    ++*count;
    guard->last = sample;
    guard->any = true;
    guard->path = 0.0;
    guard->path_known = true;
    guard->lost = UNTURNED;
}

// What the device turned up to a refused sample belongs to the next one.
static void refuse(qv6ds_guard *guard, const qv6ds_sample &sample)
{
    ++guard->refused;
    guard->lost = normalized(guard->lost * rotation(sample.rotation));
}

static void refuse_held(qv6ds_guard *guard)
{
    for (int32_t i = 0; i < guard->held_count; ++i)
        refuse(guard, guard->held[i]);
    guard->held_count = 0;
}

static int32_t release_held(qv6ds_guard *guard, bool jumped, qv6ds_sample *let)
{
    int32_t count = 0;
    guard->held[0].jumped = jumped;
    for (int32_t i = 0; i < guard->held_count; ++i)
        let_through(guard, guard->held[i], let, &count);
    guard->held_count = 0;
    return count;
}

// Nothing is known that the sample could be compared with.
static bool is_first(const qv6ds_guard &guard, const qv6ds_sample &sample)
{
    return !guard.any || sample.time - guard.last.time > GAP;
}

// What can have been turned grows with time: after a small jump the held samples are nearer.
static bool is_back(const qv6ds_guard &guard, const qv6ds_sample &sample)
{
    return guard.held_count == 0 ||
           norm(sample.field - guard.last.field) <= norm(sample.field - guard.held[guard.held_count - 1].field);
}

int32_t qv6ds_guard_pass(qv6ds_guard *guard, const qv6ds_sample &sample, qv6ds_sample *let)
{
    guard->path += norm(sample.rotation);
    guard->path_known = guard->path_known && sample.has_rotation;
    if (!is_field(*guard, sample.field) || is_stuck(guard, sample))
    {
        refuse_held(guard);
        refuse(guard, sample);
        return 0;
    }
    if (!is_first(*guard, sample) && is_back(*guard, sample) &&
        follows(guard->last, sample, guard->path, guard->path_known))
    {
        int32_t count = 0;
        refuse_held(guard);
        let_through(guard, sample, let, &count);
        return count;
    }

    // Samples that do not follow each other either are glitches one after the other.
    if (guard->held_count > 0 &&
        !follows(guard->held[guard->held_count - 1], sample, norm(sample.rotation), sample.has_rotation))
        refuse_held(guard);
    guard->held[guard->held_count++] = sample;
    const bool after_gap = is_first(*guard, guard->held[0]);
    if (guard->held_count < (after_gap ? AFTER_GAP : qv6ds_guard::HELD_MAX))
        return 0;
    return release_held(guard, !after_gap, let);
}
