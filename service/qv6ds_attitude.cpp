#include "qv6ds_attitude.h"

#include "qv6ds_units.h"
#include "qv6dservice.h"

#include <algorithm>

using namespace qv6ds_math;

static constexpr double FREE_FALL = 1.0;       // m/s²
static constexpr double HORIZONTAL_MIN = 0.02; // of the field: below it the field lies along gravity
static constexpr double LEVEL_MIN = 0.02;      // of the y axis: below it the axis points up or down

// How fast what gravity and field say is followed when the gyroscope says otherwise, seconds.
static constexpr double FOLLOW = 1.0;

// The drift of the gyroscope is learnt in about 1 / (gain * FOLLOW) seconds.
static constexpr double DRIFT_GAIN = 0.05; // 1/s²
static constexpr double DRIFT_MAX = 0.2;   // rad/s

static constexpr double DISTURBED_TRUST = 0.1; // of 1, in a field beside something magnetic

// Beyond this the gyroscope has missed a turn, or is none: when the two others have said so for a while, in a calm
// field and with an acceleration of gravity's strength, they are taken as they are.
static constexpr double APART = 5.0 / DEGREES;
static constexpr double CALM = 0.1;             // m/s²
static constexpr int64_t APART_FOR = 300000000; // ns

static constexpr double FORCE_NOISE = 0.05; // m/s²

// A magnetometer measures over its period, and says a time somewhere in it.
static constexpr double LATE = 0.01; // s

// Gravity is learnt at rest: from accelerations that hardly differ from the one before and are near what they should
// be.
static constexpr double RESTS = 0.15, GRAVITY_NEAR = 0.5; // m/s²
static constexpr double GRAVITY_SHARE = 0.0005; // of a new sample in the mean: a curve of some seconds is no gravity
static constexpr double GRAVITY_COUNT = 25.0;   // the first ones count alike

void qv6ds_attitude_start(qv6ds_attitude *attitude)
{
    *attitude = {};
    attitude->to_world = UNTURNED;
    attitude->gravity = GRAVITY;
}

static quaternion of_axes(vec east, vec north, vec up)
{
    // The rows of the matrix that turns a device vector into the world; the largest of the four parts comes first.
    const double m[3][3] = {{east.x, east.y, east.z}, {north.x, north.y, north.z}, {up.x, up.y, up.z}};
    const double trace = m[0][0] + m[1][1] + m[2][2];
    if (trace > 0.0)
    {
        const double s = 2.0 * std::sqrt(1.0 + trace);
        return {0.25 * s, (m[2][1] - m[1][2]) / s, (m[0][2] - m[2][0]) / s, (m[1][0] - m[0][1]) / s};
    }
    if (m[0][0] >= m[1][1] && m[0][0] >= m[2][2])
    {
        const double s = 2.0 * std::sqrt(1.0 + m[0][0] - m[1][1] - m[2][2]);
        return {(m[2][1] - m[1][2]) / s, 0.25 * s, (m[0][1] + m[1][0]) / s, (m[0][2] + m[2][0]) / s};
    }
    if (m[1][1] >= m[2][2])
    {
        const double s = 2.0 * std::sqrt(1.0 + m[1][1] - m[0][0] - m[2][2]);
        return {(m[0][2] - m[2][0]) / s, (m[0][1] + m[1][0]) / s, 0.25 * s, (m[1][2] + m[2][1]) / s};
    }
    const double s = 2.0 * std::sqrt(1.0 + m[2][2] - m[0][0] - m[1][1]);
    return {(m[1][0] - m[0][1]) / s, (m[0][2] + m[2][0]) / s, (m[1][2] + m[2][1]) / s, 0.25 * s};
}

// A gyroscope that drifts is always ahead of the two others by the same.
static void learn_drift(qv6ds_attitude *attitude, vec behind)
{
    const vec drift = attitude->drift - DRIFT_GAIN * behind;
    if (norm(drift) <= DRIFT_MAX)
        attitude->drift = drift;
}

static void learn_lean(qv6ds_attitude *attitude, vec lean, double excess, double share)
{
    attitude->lean = attitude->lean + share * (lean - attitude->lean);
    attitude->lean_square += share * (dot(lean, lean) - attitude->lean_square);
    attitude->excess += share * (excess - attitude->excess);
}

// What gravity and field say of one sample.
struct evidence
{
    quaternion attitude; // of both
    vec up;              // unit
    vec field;
    double field_trust; // of 1
    double excess;      // m/s², of the acceleration's strength over gravity's
    bool calm;
};

static bool is_apart(qv6ds_attitude *attitude, const qv6ds_sample &sample, quaternion predicted, const evidence &said)
{
    const vec way = rotation_vector(conjugate(predicted) * said.attitude);
    const bool apart = said.calm && norm(way) > APART;
    if (apart && !attitude->apart)
        attitude->apart_at = sample.time;
    attitude->apart = apart;
    return apart && sample.time - attitude->apart_at >= APART_FOR;
}

// Takes what is measured at once, or a share of the way to it when the gyroscope holds the attitude before: gravity
// turns the tilt, the field the heading, so that acceleration of the hand does not slow the heading down.
static void follow(qv6ds_attitude *attitude, const qv6ds_sample &sample, double dt, const evidence &said)
{
    const quaternion predicted = normalized(attitude->to_world * rotation(sample.rotation));
    const double share = attitude->any ? 1.0 - std::exp(-dt / FOLLOW) : 1.0;
    if (!attitude->any || !sample.has_rotation || is_apart(attitude, sample, predicted, said))
    {
        attitude->to_world = said.attitude;
        learn_lean(attitude, {}, said.excess, share);
        return;
    }
    const vec up = turned(conjugate(predicted), {0.0, 0.0, 1.0}), axis = cross(said.up, up);
    const double sine = norm(axis);
    const vec tilt = sine > 0.0 ? (std::atan2(sine, dot(said.up, up)) / sine) * axis : vec{};
    const quaternion tilted = predicted * rotation(share * tilt);
    const vec field = turned(tilted, said.field);
    const double west = std::atan2(field.x, field.y);
    attitude->to_world = normalized(rotation({0.0, 0.0, share * said.field_trust * west}) * tilted);
    learn_lean(attitude, turned(predicted, tilt), said.excess, share);
    if (norm(tilt) < APART && std::fabs(west) < APART)
        learn_drift(attitude, dt * tilt + (said.field_trust * dt * west) * up);
}

static void learn_gravity(qv6ds_attitude *attitude, vec force)
{
    const double off = norm(force) - attitude->gravity;
    if (norm(force - attitude->last_force) < RESTS && std::fabs(norm(force) - GRAVITY) < GRAVITY_NEAR)
    {
        attitude->gravity_count = std::min(attitude->gravity_count + 1.0, GRAVITY_COUNT);
        attitude->gravity +=
            (attitude->gravity_count < GRAVITY_COUNT ? 1.0 / attitude->gravity_count : GRAVITY_SHARE) * off;
    }
    attitude->last_force = force;
}

// How far up can be wrong, rad. An acceleration s across g has a strength of sqrt(g² + s²), of which some is seen to
// lean. `held`: by the gyroscope; otherwise up is where it is felt, and leans with every step.
static double tilt_of(const qv6ds_attitude &attitude, bool held)
{
    const double square = 2.0 * (attitude.excess - FORCE_NOISE) / attitude.gravity - attitude.lean_square;
    const double hidden = std::sqrt(std::max(0.0, square));
    return 2.0 * norm(attitude.lean) + (held ? 1.0 : 2.0) * hidden + FORCE_NOISE / attitude.gravity;
}

// What turns the azimuth, rad: the bias across the horizontal field, noise, a wrong up, which the dip makes larger, and
// a field that comes late.
static double heading_error(const qv6ds_judgement &judgement, vec field, double horizontal, double noise, double tilt,
                            double late)
{
    const double bias = (judgement.error + 2.0 * judgement.disturbance) / horizontal;
    const double along = std::sqrt(std::max(0.0, dot(field, field) - horizontal * horizontal));
    return std::hypot(std::hypot(bias, 2.0 * noise / horizontal), along / horizontal * tilt, late);
}

static void read_angles(qv6ds_heading *heading)
{
    const vec x = turned(heading->to_world, {1, 0, 0}), y = turned(heading->to_world, {0, 1, 0}),
              z = turned(heading->to_world, {0, 0, 1});
    heading->azimuth = std::atan2(y.x, y.y) * DEGREES;
    if (heading->azimuth < 0.0)
        heading->azimuth += 360.0;
    heading->pitch = -std::asin(std::clamp(y.z, -1.0, 1.0)) * DEGREES;
    heading->roll = std::atan2(-x.z, z.z) * DEGREES;
}

// Why there is no attitude in what a sample says, or 0. `horizontal`: of the field, microtesla.
static uint32_t reasons_of(const qv6ds_sample &sample, vec field, double horizontal)
{
    if (!sample.has_force)
        return QV6DS_NO_ACCELERATION;
    if (norm(sample.force) < FREE_FALL)
        return QV6DS_FREE_FALL;
    return horizontal > HORIZONTAL_MIN * norm(field) ? 0 : QV6DS_VERTICAL;
}

static double horizontal_of(vec field, vec force)
{
    const double size = norm(force);
    return size > 0.0 ? norm(cross(field, force)) / size : 0.0;
}

static quaternion measured_by(vec field, vec force)
{
    const vec east = cross(field, force);
    const vec up = (1.0 / norm(force)) * force, right = (1.0 / norm(east)) * east;
    return of_axes(right, cross(up, right), up);
}

// A y axis that is hardly horizontal swings more than the device.
static void judge(const qv6ds_attitude &attitude, const qv6ds_sample &sample, double dt,
                  const qv6ds_judgement &judgement, double noise, qv6ds_heading *heading)
{
    const vec y = turned(attitude.to_world, {0, 1, 0}), field = sample.field - judgement.bias;
    const double level = std::hypot(y.x, y.y);
    if (level < LEVEL_MIN)
    {
        heading->reasons = QV6DS_UPRIGHT;
        return;
    }
    const double tilt = tilt_of(attitude, sample.has_rotation);
    const double late = dt > 0.0 ? norm(sample.rotation) / dt * LATE : 0.0;
    const double horizontal = horizontal_of(field, sample.force);
    const double error = heading_error(judgement, field, horizontal, noise, tilt, late) + tilt * (1.0 / level - 1.0);
    heading->error = error < 1.0 ? std::asin(error) * DEGREES : 180.0;
}

static void update(qv6ds_attitude *attitude, const qv6ds_sample &sample, const qv6ds_judgement &judgement,
                   qv6ds_heading *heading, double noise)
{
    const vec field = sample.field - judgement.bias;
    const double horizontal = horizontal_of(field, sample.force);
    heading->reasons = reasons_of(sample, field, horizontal);
    if (heading->reasons != 0)
    {
        if (attitude->any && sample.has_rotation)
            attitude->to_world = normalized(attitude->to_world * rotation(sample.rotation));
        return;
    }
    learn_gravity(attitude, sample.force);
    const double excess = norm(sample.force) - attitude->gravity;
    const bool disturbed = judgement.disturbance > 0.0;
    const double dt = SECONDS * static_cast<double>(std::max<int64_t>(0, sample.time - attitude->time));
    follow(attitude, sample, dt,
           {measured_by(field, sample.force), (1.0 / norm(sample.force)) * sample.force, field,
            disturbed ? DISTURBED_TRUST : 1.0, excess, !disturbed && std::fabs(excess) < CALM});
    attitude->any = judgement.radius > 0.0; // without an offset the gyroscope has nothing to hold
    judge(*attitude, sample, dt, judgement, noise, heading);
}

qv6ds_heading qv6ds_attitude_update(qv6ds_attitude *attitude, const qv6ds_sample &sample,
                                    const qv6ds_judgement &judgement, double noise, const qv6ds_place &place)
{
    qv6ds_heading heading = {0, UNTURNED, 0.0, 0.0, 0.0, 180.0};
    update(attitude, sample, judgement, &heading, noise);
    attitude->time = sample.time;
    heading.to_world = attitude->to_world;
    if (place.known)
        heading.to_world = normalized(rotation({0.0, 0.0, -place.declination}) * heading.to_world);
    read_angles(&heading);
    return heading;
}
