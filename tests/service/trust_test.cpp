// The status says what is so.

#include <gtest/gtest.h>

#include "device.h"

TEST(Trust, WithoutTurningThereIsNoStatus)
{
    const running service;
    service.feed(device{.attitude = [](double) { return attitude(0.3, 0.2, 0.1); }}.events());
    const qv6ds_state state = service.state();
    EXPECT_EQ(0, state.status);
    EXPECT_TRUE((state.reasons & QV6DS_TURN) != 0);
    EXPECT_TRUE(std::isinf(state.bias_error));
}

// Whatever its direction, along the field too, and across it, where the norm hardly changes.
TEST(Trust, AJumpOfADeviceThatLiesStillIsSeen)
{
    const quaternion rests = attitude(0.5, 0.0, 0.0);
    const vec field = turned(conjugate(rests), EARTH), up = turned(conjugate(rests), axis(2));
    const vec across = cross(field, up);
    const double turn = 0.8; // rad about the vertical: norm and inclination stay
    const vec about = turned(qv6ds_math::rotation(turn * up), field) - field;
    for (const vec jump : {0.4 * field, -0.4 * field, (20.0 / norm(across)) * across, 20.0 * up, about})
        for (const bool gyroscope : {true, false})
        {
            const running service;
            const device table{.attitude = [&](double t) { return t < 20.0 ? turned_by_hand(t) : rests; },
                               .offset = [&](double t) { return t < 25.0 ? OFFSET : OFFSET + jump; }};
            for (const event &e : table.events())
                if (gyroscope || e.sensor != QV6DS_GYROSCOPE)
                    put(service.service, e);
            const qv6ds_state state = service.state();
            EXPECT_LT(state.status, 2) << jump.x << " " << jump.y << " " << jump.z << " gyroscope " << gyroscope;
            EXPECT_TRUE((state.reasons & (QV6DS_JUMPED | QV6DS_DISTURBED)) != 0) << state.reasons;
            EXPECT_GE(state.bias_error, norm(jump));
        }
}

TEST(Trust, WhatPassesLowersTheStatusWhileItIsThere)
{
    const auto passing = [](double t)
    {
        const double near = t < 30.0 || t > 34.0 ? 0.0 : std::sin(std::numbers::pi * (t - 30.0) / 4.0);
        return OFFSET + 60.0 * near * near * axis(0);
    };
    for (const bool turns : {true, false})
    {
        const running service;
        const device hand{.attitude = [&](double t) { return turned_by_hand(turns ? t : std::min(t, 25.0)); },
                          .offset = passing,
                          .until = 40.0};
        int32_t lowest = 3;
        for (const event &e : hand.events())
        {
            put(service.service, e);
            const qv6ds_state state = service.state();
            if (e.time > 31 * SECOND + SECOND && e.time < 33 * SECOND + SECOND)
                lowest = std::min(lowest, state.status);
            if (e.time > 36 * SECOND + SECOND)
            {
                ASSERT_EQ(3, state.status) << e.time << " turns " << turns;
            }
        }
        EXPECT_LT(lowest, 2) << turns;
    }
}

TEST(Trust, AnotherFieldThanThePlacesIsSaid)
{
    const running service;
    ASSERT_EQ(0, qv6ds_local_field(service.service, 0.0f, 60.0f, 30.0f));
    service.feed(device{}.events());
    const qv6ds_state state = service.state();
    EXPECT_LE(state.status, 2);
    EXPECT_TRUE((state.reasons & QV6DS_OTHER_FIELD) != 0);
}

TEST(Trust, UncompensatedSoftIronIsSaidAndItsMatrixTakesItOff)
{
    for (const bool compensated : {false, true})
    {
        qv6ds_settings settings = qv6ds_defaults();
        if (compensated)
        {
            settings.soft_iron[0][0] = 1.0f / 1.1f;
            settings.soft_iron[1][1] = 1.0f / 0.9f;
        }
        const running service(settings);
        std::vector<event> events = device{}.events();
        for (event &e : events)
            if (e.sensor == QV6DS_MAGNETOMETER)
                e.value = {1.1 * e.value.x, 0.9 * e.value.y, e.value.z};
        service.feed(events);
        const qv6ds_state state = service.state();
        EXPECT_EQ(!compensated, (state.reasons & QV6DS_SOFT_IRON) != 0);
        EXPECT_EQ(compensated, state.status == 3);
        EXPECT_LE(bias_error(state, compensated ? OFFSET : vec{1.1 * OFFSET.x, 0.9 * OFFSET.y, OFFSET.z}),
                  state.bias_error);
    }
}
