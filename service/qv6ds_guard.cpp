#include "qv6ds_guard.h"

#include <algorithm>

using namespace qv6ds_math;

static constexpr double FIELD_MAX = 70.0;  // microtesla, of the earth and what surrounds a device that can calibrate
static constexpr double TURN_MAX = 20.0;   // rad/s, of a device in a hand
static constexpr double STEADY_TURN = 5.0; // rad/s, about gravity, of one whose acceleration stays
static constexpr double STEADY = 0.5;      // m/s²
static constexpr double STUCK = 0.3;       // rad, turned without any change of the field, or of gravity alone
static constexpr double JUMP_MIN = 6.0;    // microtesla: what noise does not do
static constexpr int64_t GAP = 500000000;  // ns, after which nothing is expected of the next sample
static constexpr double SECONDS = 1e-9;    // of a nanosecond

void qv6ds_guard_start(qv6ds_guard *guard, double range)
{
    *guard = {};
    guard->range = range;
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

static double angle(vec a, vec b)
{
    return std::atan2(norm(cross(a, b)), dot(a, b));
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
    let[(*count)++] = sample;
    guard->last = sample;
    guard->any = true;
    guard->path = 0.0;
    guard->path_known = true;
}

static void refuse_held(qv6ds_guard *guard)
{
    guard->refused += guard->held_count;
    guard->held_count = 0;
}

int32_t qv6ds_guard_pass(qv6ds_guard *guard, const qv6ds_sample &sample, qv6ds_sample *let)
{
    int32_t count = 0;
    const double path = norm(sample.rotation);
    guard->path += path;
    guard->path_known = guard->path_known && sample.has_rotation;
    if (!is_field(*guard, sample.field) || is_stuck(guard, sample))
    {
        ++guard->refused;
        return 0;
    }

    // What can have been turned grows with time: after a small jump the held samples are nearer.
    const bool is_back = guard->held_count == 0 || norm(sample.field - guard->last.field) <=
                                                       norm(sample.field - guard->held[guard->held_count - 1].field);
    if (!guard->any || sample.time - guard->last.time > GAP ||
        (is_back && follows(guard->last, sample, guard->path, guard->path_known)))
    {
        refuse_held(guard);
        let_through(guard, sample, let, &count);
        return count;
    }

    // Samples that do not follow each other either are glitches one after the other.
    if (guard->held_count > 0)
    {
        const qv6ds_sample &before = guard->held[guard->held_count - 1];
        if (!follows(before, sample, path, sample.has_rotation))
            refuse_held(guard);
    }
    guard->held[guard->held_count++] = sample;
    if (guard->held_count == qv6ds_guard::HELD_MAX)
    {
        guard->held[0].jumped = true;
        guard->held_count = 0;
        for (const qv6ds_sample &held : guard->held)
            let_through(guard, held, let, &count);
    }
    return count;
}
