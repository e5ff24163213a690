#include "qv6ds_jump.h"
#include "qv6ds_units.h"

#include <algorithm>

using namespace qv6ds_math;

static constexpr int64_t EVERY = 500000000;    // ns, between anchors
static constexpr int64_t OLD_MAX = 4000000000; // ns: what is older says nothing of now
static constexpr int64_t LOOK_BACK = 1200000000;
static constexpr double JUMP_MIN = 6.0; // microtesla: what noise does not do
static constexpr double HOME = 3.0;     // microtesla: so near is the same field
static constexpr double RESTING = 0.05; // rad/s: a slower turn is the gyroscope's own error
static constexpr double STEADY = 0.05;  // rad between two directions of gravity

// Share of the field by which the gyroscope's scale may turn it wrongly, for a rad.
static constexpr double SCALE = 0.05;

void qv6ds_jump_forget_time(qv6ds_jump *jump)
{
    jump->count = 0;
    jump->time = 0;
}

static void turn(qv6ds_anchor *anchor, const qv6ds_sample &sample, quaternion back, bool resting, vec centre)
{
    anchor->turns = anchor->turns && sample.has_rotation;
    if (!sample.has_rotation || resting)
        return;
    anchor->field = centre + turned(back, anchor->field - centre);
    anchor->force = turned(back, anchor->force);
    anchor->path += norm(sample.rotation);
}

static void turn_all(qv6ds_jump *jump, const qv6ds_sample &sample, vec centre)
{
    const double dt = SECONDS * static_cast<double>(sample.time - jump->time);
    const bool resting = norm(sample.rotation) <= RESTING * dt;
    const quaternion back = conjugate(rotation(sample.rotation));
    for (int32_t i = 0; i < jump->count; ++i)
        turn(&jump->anchors[i], sample, back, resting, centre);
    turn(&jump->home, sample, back, resting, centre);
}

static void drop_old(qv6ds_jump *jump, int64_t now)
{
    while (jump->count > 0 && now - jump->anchors[0].time > OLD_MAX)
        std::copy(jump->anchors + 1, jump->anchors + jump->count--, jump->anchors);
}

// Where the device is known to have turned, the field must be where that turned it.
static bool is_elsewhere(const qv6ds_jump &jump, const qv6ds_sample &sample, const qv6ds_expected &expected)
{
    for (int32_t i = 0; i < jump.count; ++i)
    {
        const qv6ds_anchor &anchor = jump.anchors[i];
        const double may_differ =
            JUMP_MIN + 4.0 * expected.noise + std::min(anchor.path, 2.0) * (SCALE * expected.radius + expected.error);
        if (anchor.turns && sample.time - anchor.time <= LOOK_BACK && norm(sample.field - anchor.field) > may_differ)
            return true;
    }
    return false;
}

// Without a gyroscope only a device that still feels gravity from the same side can be compared.
static bool is_home(const qv6ds_anchor &home, const qv6ds_sample &sample, double noise)
{
    const bool comparable =
        home.turns || (home.has_force && sample.has_force && angle(home.force, sample.force) < STEADY);
    return comparable && norm(sample.field - home.field) < HOME + 3.0 * noise;
}

static void add_anchor(qv6ds_jump *jump, const qv6ds_sample &sample)
{
    if (jump->count > 0 && sample.time - jump->anchors[jump->count - 1].time < EVERY)
        return;
    if (jump->count == qv6ds_jump::ANCHORS)
        std::copy(jump->anchors + 1, jump->anchors + jump->count--, jump->anchors);
    jump->anchors[jump->count++] = {sample.time, sample.field, sample.force, sample.has_force, 0.0, true};
}

bool qv6ds_jump_follow(qv6ds_jump *jump, const qv6ds_sample &sample, const qv6ds_expected &expected)
{
    turn_all(jump, sample, expected.centre);
    jump->time = sample.time;
    if (expected.calm)
        drop_old(jump, sample.time);
    const bool jumps = sample.jumped || (expected.calm && is_elsewhere(*jump, sample, expected));
    // The oldest one, since what comes slowly nearer is noticed late.
    if (expected.calm && jump->count > 0)
        jump->home = jump->anchors[0];
    jump->jumped = jump->jumped || jumps;
    jump->size = norm(sample.field - jump->home.field);
    if (jump->jumped && is_home(jump->home, sample, expected.noise))
        jump->jumped = false;
    if (expected.calm && !jump->jumped)
        add_anchor(jump, sample);
    return jumps;
}
