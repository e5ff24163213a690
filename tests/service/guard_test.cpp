// What is no field stays away from the calibration, and a real change does not.

#include <gtest/gtest.h>

#include "device.h"

#include <limits>

TEST(Guard, TenThousandGlitchesLoseNoCalibration)
{
    std::mt19937 bits(7);
    const auto between = [&bits](double low, double high)
    { return std::uniform_real_distribution<double>(low, high)(bits); };
    const double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();
    std::vector<event> events = device{.until = 3600.0}.events();
    int glitches = 0, left = 0, kind = 0;
    for (event &e : events)
    {
        if (e.sensor != QV6DS_MAGNETOMETER || e.time < 10 * SECOND)
            continue;
        if (left == 0 && glitches < 10000 && between(0.0, 1.0) < 10000.0 / 3500.0 / 45.0)
        {
            left = 1 + static_cast<int>(between(0.0, 5.0));
            kind = static_cast<int>(between(0.0, 6.0));
            ++glitches;
        }
        if (left == 0)
            continue;
        --left;
        const vec random = {between(-1000.0, 1000.0), between(-1000.0, 1000.0), between(-1000.0, 1000.0)};
        const vec kinds[] = {
            {}, e.value + vec{300.0, 0.0, 0.0}, random, {nan, 0.0, 0.0}, {0.0, inf, 0.0}, {4915.0, 10.0, 10.0}};
        e.value = kinds[kind];
    }
    ASSERT_GT(glitches, 9000);

    const running service;
    int64_t below_3 = 0, seen = 0;
    for (const event &e : events)
    {
        put(service.service, e);
        if (e.sensor != QV6DS_MAGNETOMETER || e.time < 10 * SECOND)
            continue;
        const qv6ds_state state = service.state();
        ++seen;
        below_3 += state.status < 3;
        ASSERT_TRUE(std::isfinite(state.field[0]) && std::isfinite(state.azimuth));
        ASSERT_LT(bias_error(state, OFFSET), 1.5) << e.time;
    }
    EXPECT_LT(below_3, seen / 200) << "of " << seen;
}

// A sensor that was switched on again.
TEST(Guard, TheFirstSampleAfterAGapCanBeAGlitch)
{
    const running service;
    service.feed(device{.until = 20.0}.events());
    std::vector<event> later = device{.from = 21.0, .until = 23.0}.events();
    later[2].value.x += 300.0;
    service.feed(later);
    EXPECT_EQ(3, service.state().status);
}

TEST(Guard, WhatTurnsDuringGlitchesIsNotLost)
{
    const auto spin = [](double t) { return t < 20.0 ? turned_by_hand(t) : attitude(5.0 * t, 0.0, 0.0); };
    const running service;
    std::vector<event> events = device{.attitude = spin, .until = 40.0}.events();
    int fields = 0;
    for (event &e : events)
    {
        if (e.sensor == QV6DS_MAGNETOMETER && e.time > 22 * SECOND && ++fields % 60 < 5)
            e.value.y += 300.0;
        put(service.service, e);
        const qv6ds_state state = service.state();
        const vec y = turned(spin(static_cast<double>(state.time_ns - SECOND) / 1e9), axis(1));
        if (e.time > 22 * SECOND && state.status >= 2)
        {
            ASSERT_LE(apart(state.azimuth, std::atan2(y.x, y.y) * 180.0 / std::numbers::pi), 2.0) << e.time;
        }
    }
}

TEST(Guard, AStepIsNoGlitch)
{
    const vec step = {0.0, 60.0, 0.0};
    const running service;
    service.feed(device{.offset = [&](double t) { return t < 20.0 ? OFFSET : OFFSET + step; }, .until = 40.0}.events());
    const qv6ds_state state = service.state();
    EXPECT_EQ(3, state.status);
    EXPECT_LT(bias_error(state, OFFSET + step), 0.8);
}

TEST(Guard, AStuckSensorIsRefused)
{
    const running service;
    service.feed(device{.until = 20.0}.events());
    const qv6ds_state before = service.state();
    std::vector<event> stuck = device{.from = 20.0, .until = 22.0}.events();
    for (event &e : stuck)
        if (e.sensor == QV6DS_MAGNETOMETER)
            e.value = {before.raw[0], before.raw[1], before.raw[2]};
    service.feed(stuck);
    const qv6ds_state state = service.state();
    EXPECT_TRUE((state.reasons & QV6DS_REFUSED) != 0);
    EXPECT_LT(state.time_ns, before.time_ns + SECOND / 2);
    service.feed(device{.from = 22.0, .until = 24.0}.events());
    EXPECT_EQ(3, service.state().status);
}
