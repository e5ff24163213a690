#include "qv6ds_attitude.h"

#include "qv6dservice.h"

#include <algorithm>
#include <numbers>

using namespace qv6ds_math;

static constexpr double DEGREES = 180.0 / std::numbers::pi;
static constexpr double GRAVITY = 9.81;        // m/s²
static constexpr double FREE_FALL = 1.0;       // m/s²
static constexpr double HORIZONTAL_MIN = 0.02; // of the field: below it the field lies along gravity
static constexpr double LEVEL_MIN = 0.02;      // of the y axis: below it the axis points up or down
static constexpr double SECONDS = 1e-9;        // of a nanosecond

// How fast what gravity and field say is followed when the gyroscope says otherwise, seconds.
static constexpr double FOLLOW = 0.25;

// Tilt by sideways acceleration, rad, at which what the accelerometer says counts for half.
static constexpr double SHAKEN = 0.1;
static constexpr double DISTURBED_TRUST = 0.1; // of 1, beside something magnetic
static constexpr double TRUSTED = 0.5;         // of 1

// Beyond this the gyroscope has missed a turn, or is none: when the two others, trusted, have said so for a while, they
// are taken as they are.
static constexpr double APART = 10.0 / DEGREES;
static constexpr int64_t APART_FOR = 300000000; // ns

static constexpr double FORCE_NOISE = 0.05; // m/s²

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

// Takes the measured attitude at once, or a share of the way to it when the gyroscope holds the one before.
static void follow(qv6ds_attitude *attitude, const qv6ds_sample &sample, quaternion measured, double trusted)
{
    const double dt = SECONDS * static_cast<double>(std::max<int64_t>(0, sample.time - attitude->time));
    if (!attitude->any || !sample.has_rotation)
    {
        attitude->to_world = measured;
        attitude->apart = false;
        return;
    }
    const quaternion predicted = normalized(attitude->to_world * rotation(sample.rotation));
    const vec way = rotation_vector(conjugate(predicted) * measured);
    const bool apart = norm(way) > APART && trusted > TRUSTED;
    if (apart && !attitude->apart)
        attitude->apart_at = sample.time;
    attitude->apart = apart;
    if (apart && sample.time - attitude->apart_at >= APART_FOR)
        attitude->to_world = measured;
    else
        attitude->to_world = normalized(predicted * rotation((trusted * (1.0 - std::exp(-dt / FOLLOW))) * way));
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

// By which a sideways acceleration turns what is felt as gravity, rad: s across g gives a norm of sqrt(g² + s²).
static double tilt_of(const qv6ds_attitude &attitude, double force)
{
    const double off = std::max(0.0, std::fabs(force - attitude.gravity) - FORCE_NOISE);
    return std::sqrt(2.0 * off / attitude.gravity) + FORCE_NOISE / attitude.gravity;
}

// `level`: share of the y axis that is horizontal, by which its heading swings more than the device.
static double heading_error(const qv6ds_judgement &judgement, vec field, double horizontal, double noise, double tilt,
                            double level)
{
    const double across = (judgement.error + 2.0 * judgement.disturbance + 2.0 * noise) / horizontal;
    const double along = std::sqrt(std::max(0.0, dot(field, field) - horizontal * horizontal));
    const double error = across + along / horizontal * tilt + tilt * (1.0 / level - 1.0);
    return error < 1.0 ? std::asin(error) * DEGREES : 180.0;
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

qv6ds_heading qv6ds_attitude_update(qv6ds_attitude *attitude, const qv6ds_sample &sample, vec field,
                                    const qv6ds_judgement &judgement, double noise, const qv6ds_place &place)
{
    qv6ds_heading heading = {0, UNTURNED, 0.0, 0.0, 0.0, 180.0};
    const double force = norm(sample.force);
    const vec east = cross(field, sample.force);
    const double horizontal = force > 0.0 ? norm(east) / force : 0.0;
    if (!sample.has_force)
        heading.reasons = QV6DS_NO_ACCELERATION;
    else if (force < FREE_FALL)
        heading.reasons = QV6DS_FREE_FALL;
    else if (horizontal < HORIZONTAL_MIN * norm(field) || horizontal == 0.0)
        heading.reasons = QV6DS_VERTICAL;

    if (heading.reasons == 0)
    {
        const vec up = (1.0 / force) * sample.force, right = (1.0 / norm(east)) * east;
        learn_gravity(attitude, sample.force);
        const double tilt = tilt_of(*attitude, force);
        const double trusted =
            judgement.disturbance > 0.0 ? DISTURBED_TRUST : SHAKEN * SHAKEN / (SHAKEN * SHAKEN + tilt * tilt);
        follow(attitude, sample, of_axes(right, cross(up, right), up), trusted);
        attitude->any = true;
        const vec y = turned(attitude->to_world, {0, 1, 0});
        const double level = std::hypot(y.x, y.y);
        if (level < LEVEL_MIN)
            heading.reasons = QV6DS_UPRIGHT;
        else
            heading.error = heading_error(judgement, field, horizontal, noise, tilt, level);
    }
    else if (attitude->any && sample.has_rotation)
        attitude->to_world = normalized(attitude->to_world * rotation(sample.rotation));
    attitude->time = sample.time;
    heading.to_world = attitude->to_world;
    if (place.known)
        heading.to_world = normalized(rotation({0.0, 0.0, -place.declination}) * heading.to_world);
    read_angles(&heading);
    return heading;
}
