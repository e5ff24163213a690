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

// Whatever its direction: along the field, and across it, where the norm hardly changes, at once or as a filter in the
// sensor spreads it. Without a gyroscope a turn about the vertical looks like that too, unless it is at once.
TEST(Trust, AJumpOfADeviceThatLiesStillIsSeen)
{
    const quaternion rests = attitude(0.5, 0.0, 0.0);
    const vec field = turned(conjugate(rests), EARTH), up = turned(conjugate(rests), axis(2));
    const vec across = cross(field, up);
    const double turn = 0.8; // rad about the vertical: norm and inclination stay
    const vec about = turned(qv6ds_math::rotation(turn * up), field) - field;
    const struct
    {
        double rate, within; // Hz, s
        bool gyroscope;
    } sensors[] = {{50.0, 0.0, true}, {50.0, 0.0, false}, {50.0, 0.1, true}, {10.0, 0.0, true}, {200.0, 0.02, true}};
    for (const vec jump : {0.4 * field, -0.4 * field, (20.0 / norm(across)) * across, 20.0 * up, about})
        for (const auto &sensor : sensors)
        {
            const running service;
            const auto moved = [&](double t)
            { return OFFSET + std::clamp((t - 25.0) / std::max(sensor.within, 1e-9), 0.0, 1.0) * jump; };
            const device table{.attitude = [&](double t) { return t < 20.0 ? turned_by_hand(t) : rests; },
                               .offset = moved,
                               .rate = sensor.rate};
            for (const event &e : table.events())
                if (sensor.gyroscope || e.sensor != QV6DS_GYROSCOPE)
                    put(service.service, e);
            const qv6ds_state state = service.state();
            EXPECT_LT(state.status, 2) << jump.x << " " << jump.y << " " << jump.z << " at " << sensor.rate << " Hz";
            EXPECT_TRUE((state.reasons & (QV6DS_JUMPED | QV6DS_DISTURBED)) != 0) << state.reasons;
            EXPECT_GE(state.bias_error, 0.9 * norm(jump));
        }
}

TEST(Trust, WhatPassesLowersTheStatusWhileItIsThere)
{
    const struct
    {
        double comes, goes; // s
        bool turns;
        double returns; // s, when the status is 3 again: what is sharp and turns is another offset, for a while
    } rows[] = {{2.0, 2.0, true, 2.0},  {2.0, 2.0, false, 2.0},     {1.0, 0.001, false, 2.0}, {0.001, 1.0, false, 2.0},
                {0.5, 0.5, false, 2.0}, {0.001, 0.001, true, 12.0}, {0.02, 1.0, true, 12.0}};
    for (const auto &row : rows)
    {
        SCOPED_TRACE(testing::Message() << row.comes << " " << row.goes << " turns " << row.turns);
        const auto passing = [&row](double t)
        {
            const double near = std::min(std::clamp((t - 30.0) / row.comes, 0.0, 1.0),
                                         std::clamp((34.0 + row.goes - t) / row.goes, 0.0, 1.0));
            return OFFSET + 40.0 * near * axis(0);
        };
        const running service;
        const device hand{.attitude = [&](double t) { return turned_by_hand(row.turns ? t : std::min(t, 25.0)); },
                          .offset = passing,
                          .until = 60.0};
        int32_t lowest = 3;
        for (const event &e : hand.events())
        {
            put(service.service, e);
            const qv6ds_state state = service.state();
            const double t = static_cast<double>(e.time - SECOND) / 1e9;
            if (t > 31.0 && t < 33.0)
                lowest = std::min(lowest, state.status);
            if (t > 34.0 + row.goes + row.returns)
            {
                ASSERT_EQ(3, state.status) << t;
            }
        }
        EXPECT_LT(lowest, 2);
    }
}

// As indoors, on another floor: the offset is as before.
TEST(Trust, AFieldOfAnotherStrengthIsFollowed)
{
    for (const double strength : {0.8, 0.9, 1.2})
    {
        const running service;
        for (event e : device{.until = 60.0}.events())
        {
            if (e.sensor == QV6DS_MAGNETOMETER && e.time > 30 * SECOND)
                e.value = OFFSET + strength * (e.value - OFFSET);
            put(service.service, e);
        }
        const qv6ds_state state = service.state();
        EXPECT_EQ(3, state.status) << strength;
        EXPECT_NEAR(strength * FIELD, state.radius, 0.5);
        EXPECT_LT(bias_error(state, OFFSET), 0.6);
    }
}

TEST(Trust, AnotherFieldThanThePlacesIsSaid)
{
    const struct
    {
        float inclination, strength;
        bool other;
    } places[] = {{60.0f, 48.0f, false}, {60.0f, 30.0f, true}, {-60.0f, 48.0f, true}, {40.0f, 48.0f, true}};
    for (const auto &place : places)
    {
        const running service;
        ASSERT_EQ(0, qv6ds_local_field(service.service, 0.0f, place.inclination, place.strength));
        service.feed(device{}.events());
        const qv6ds_state state = service.state();
        EXPECT_EQ(place.other, state.status < 3) << place.inclination << " " << place.strength;
        EXPECT_EQ(place.other, (state.reasons & QV6DS_OTHER_FIELD) != 0);
    }
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
