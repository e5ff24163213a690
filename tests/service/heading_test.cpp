// The heading in every attitude, in motion, and where there is none.

#include <gtest/gtest.h>

#include "device.h"

#include <algorithm>

static constexpr double RADIANS = std::numbers::pi / 180.0;

// Calibrated by a turn in front, without noise: what is left is the service's own.
static std::vector<event> calibrated_then(quaternion rests, double until)
{
    device hand{.noise = 0.0, .until = 20.0};
    std::vector<event> events = hand.events();
    device table{.attitude = [rests](double) { return rests; }, .noise = 0.0, .from = 21.0, .until = until};
    const std::vector<event> still = table.events();
    events.insert(events.end(), still.begin(), still.end());
    return events;
}

static double azimuth_of(quaternion attitude)
{
    const vec y = turned(attitude, axis(1));
    return std::atan2(y.x, y.y) / RADIANS;
}

TEST(Heading, IsRightInEveryAttitudeOfTheSphere)
{
    const running service;
    service.feed(device{.noise = 0.0, .until = 20.0}.events());
    double t = 21.0;
    for (int pitch = -90; pitch <= 90; pitch += 15)
        for (int roll = -180; roll < 180; roll += 30)
            for (int yaw = 0; yaw < 360; yaw += 45, t += 1.0)
            {
                const quaternion rests = attitude(yaw * RADIANS, pitch * RADIANS, roll * RADIANS);
                service.feed(
                    device{.attitude = [rests](double) { return rests; }, .noise = 0.0, .from = t, .until = t + 0.5}
                        .events());
                const qv6ds_state state = service.state();
                const quaternion q = {state.quaternion[3], state.quaternion[0], state.quaternion[1],
                                      state.quaternion[2]};
                const double off = norm(rotation_vector(conjugate(q) * rests)) / RADIANS;
                ASSERT_LE(off, 0.05) << "quaternion at yaw " << yaw << ", pitch " << pitch << ", roll " << roll;
                const vec y = turned(rests, axis(1));
                if (std::hypot(y.x, y.y) > 0.05) // a y axis that points up or down has no azimuth
                {
                    ASSERT_LE(apart(state.azimuth, azimuth_of(rests)), 0.05)
                        << "azimuth at yaw " << yaw << ", pitch " << pitch << ", roll " << roll;
                }
            }
}

TEST(Heading, RestingPositionsHaveThePlatformsAngles)
{
    const struct
    {
        const char *position;
        vec up; // of the world, in device axes
        double pitch, roll;
    } rows[] = {
        {"face up", {0, 0, 1}, 0.0, 0.0},
        {"face down", {0, 0, -1}, 0.0, 180.0},
        {"upright", {0, 1, 0}, -90.0, 0.0},
        {"upside down", {0, -1, 0}, 90.0, 0.0},
        {"on its left side", {1, 0, 0}, 0.0, -90.0},
        {"on its right side", {-1, 0, 0}, 0.0, 90.0},
    };
    const running service;
    service.feed(device{.noise = 0.0, .until = 20.0}.events());
    double t = 21.0;
    for (const auto &row : rows)
    {
        SCOPED_TRACE(row.position);
        const vec side = std::fabs(row.up.x) > 0.5 ? axis(1) : axis(0), north = cross(row.up, side);
        for (double until = t + 1.0; t < until; t += 0.02)
        {
            const auto time = static_cast<int64_t>(t * 1e9) + SECOND;
            put(service.service, {QV6DS_ACCELEROMETER, time, GRAVITY * row.up});
            put(service.service, {QV6DS_GYROSCOPE, time, {}});
            put(service.service, {QV6DS_MAGNETOMETER, time, EARTH.y * north + EARTH.z * row.up + OFFSET});
        }
        const qv6ds_state state = service.state();
        EXPECT_NEAR(state.pitch, row.pitch, 0.05);
        if (std::fabs(row.pitch) < 89.0)
        {
            EXPECT_LE(apart(state.roll, row.roll), 0.05);
        }
    }
}

TEST(Heading, WhereThereIsNoneItIsKeptAndSaid)
{
    const struct
    {
        const char *what;
        vec force, field; // without the offset
        uint32_t reason;
    } rows[] = {
        {"free fall", {0, 0, 0.2}, EARTH, QV6DS_FREE_FALL},
        {"field along gravity", {0, 0, GRAVITY}, {0, 0, -FIELD}, QV6DS_VERTICAL},
        {"y axis up", {0, GRAVITY, 0}, {0, EARTH.z, -EARTH.y}, QV6DS_UPRIGHT},
    };
    for (const auto &row : rows)
    {
        SCOPED_TRACE(row.what);
        const running service;
        service.feed(calibrated_then(qv6ds_math::UNTURNED, 22.0));
        const qv6ds_state before = service.state();
        for (int64_t k = 1; k <= 50; ++k)
        {
            const int64_t time = before.time_ns + k * SECOND / 50;
            put(service.service, {QV6DS_ACCELEROMETER, time, row.force});
            put(service.service, {QV6DS_GYROSCOPE, time, {}});
            put(service.service, {QV6DS_MAGNETOMETER, time, row.field + OFFSET});
        }
        qv6ds_flush(service.service);
        const qv6ds_state state = service.state();
        EXPECT_TRUE((state.reasons & row.reason) != 0) << state.reasons;
        EXPECT_EQ(180.0f, state.heading_error);
        if (row.reason != QV6DS_UPRIGHT) // where the quaternion goes on
        {
            EXPECT_LE(apart(state.azimuth, before.azimuth), 0.1);
        }
    }
}

// Gravity cannot be told from it but by its strength, and by the gyroscope while it comes and goes.
TEST(Heading, SidewaysAccelerationIsInItsBound)
{
    const running service;
    const auto rests = [](double t) { return t < 20.0 ? turned_by_hand(t) : attitude(0.7, 0.0, 0.0); };
    int64_t beyond = 0, seen = 0;
    for (event e : device{.attitude = rests, .until = 50.0}.events())
    {
        const double t = static_cast<double>(e.time - SECOND) / 1e9;
        if (e.sensor == QV6DS_ACCELEROMETER && t > 30.0)
            e.value.x += 2.0 * std::sin(4.0 * std::numbers::pi * t);
        put(service.service, e);
        const qv6ds_state state = service.state();
        if (e.sensor != QV6DS_MAGNETOMETER || t < 30.0)
            continue;
        ++seen;
        const double error = apart(state.azimuth, azimuth_of(rests(t)));
        ASSERT_LE(error, 8.0) << t;
        beyond += error > state.heading_error;
    }
    EXPECT_LT(beyond, seen / 12) << "of " << seen;
}

TEST(Heading, TrueNorthIsTheDeclinationAwayFromMagneticNorth)
{
    const running service;
    service.feed(calibrated_then(attitude(0.7, 0.2, -0.4), 22.0));
    const float magnetic = service.state().azimuth;
    ASSERT_EQ(0, qv6ds_local_field(service.service, 12.5f, 60.0f, 48.0f));
    device table{
        .attitude = [](double) { return attitude(0.7, 0.2, -0.4); }, .noise = 0.0, .from = 22.0, .until = 23.0};
    service.feed(table.events());
    EXPECT_LE(apart(service.state().azimuth, magnetic + 12.5), 0.05);
}

TEST(Heading, InMotionItIsRightToHalfADegree)
{
    for (const double rate : {50.0, 100.0})
    {
        const running service;
        std::vector<double> errors;
        const device hand{.rate = rate, .until = 60.0};
        for (const event &e : hand.events())
        {
            put(service.service, e);
            const qv6ds_state state = service.state();
            const double t = static_cast<double>(state.time_ns - SECOND) / 1e9;
            const vec y = turned(turned_by_hand(t), axis(1));
            if (e.sensor == QV6DS_MAGNETOMETER && state.status >= 2 && std::hypot(y.x, y.y) > 0.1)
                errors.push_back(apart(state.azimuth, std::atan2(y.x, y.y) / RADIANS));
        }
        ASSERT_GT(errors.size(), 1000u);
        std::sort(errors.begin(), errors.end());
        EXPECT_LE(errors[errors.size() / 2], 0.5) << rate;
        EXPECT_LE(errors[errors.size() * 95 / 100], 2.0) << rate;
    }
}
