// Samples in any order, at any rate, with clocks that are not what they should be.

#include <gtest/gtest.h>

#include "device.h"

#include <algorithm>
#include <cstring>
#include <limits>

// By sensor, one batch after the other, in this order of sensors.
static std::vector<event> batched(std::vector<event> events, double seconds, const int (&order)[3])
{
    const auto place = [&](const event &e)
    { return std::pair(static_cast<int64_t>(static_cast<double>(e.time - SECOND) / 1e9 / seconds), order[e.sensor]); };
    std::stable_sort(events.begin(), events.end(), [&](const event &a, const event &b) { return place(a) < place(b); });
    return events;
}

static qv6ds_state result_of(const std::vector<event> &events)
{
    qv6ds_settings settings = qv6ds_defaults();
    settings.wait_for_gyroscope = 1;
    const running service(settings);
    service.feed(events);
    qv6ds_flush(service.service);
    return service.state();
}

TEST(Time, BatchesGiveWhatTheStreamGives)
{
    const std::vector<event> stream = device{.until = 40.0}.events();
    const qv6ds_state expected = result_of(stream);
    ASSERT_EQ(3, expected.status);
    for (const double seconds : {0.1, 1.0, 10.0})
        for (const auto &order : {std::array{0, 1, 2}, std::array{2, 1, 0}, std::array{1, 2, 0}})
        {
            const int by_sensor[3] = {order[0], order[1], order[2]};
            const qv6ds_state state = result_of(batched(stream, seconds, by_sensor));
            EXPECT_EQ(0, std::memcmp(&state, &expected, sizeof state)) << seconds << " s, magnetometer " << order[2];
        }
}

TEST(Time, EveryRateCalibratesAsTheLearningRateDoes)
{
    for (const double rate : {10.0, 25.0, 60.0, 200.0, 1000.0})
    {
        const running service;
        double at_3 = -1.0;
        for (const event &e : device{.rate = rate, .until = 15.0}.events())
        {
            put(service.service, e);
            if (at_3 < 0.0 && service.state().status == 3)
                at_3 = static_cast<double>(e.time - SECOND) / 1e9;
        }
        EXPECT_GT(at_3, 0.0) << rate;
        EXPECT_LT(at_3, 6.0) << rate;
        EXPECT_LT(bias_error(service.state(), OFFSET), 0.6) << rate;
    }
}

// In a batch, where the other sensors' samples are there already: only the order of the fields' own times can tell.
TEST(Time, AFieldOfAnotherTimeIsSaidAndChangesNothing)
{
    constexpr int64_t end = std::numeric_limits<int64_t>::max();
    const auto at = [](double t) { return turned_by_hand(std::min(t, 20.0)); };
    for (const int64_t time : {SECOND * 21, SECOND * 20, SECOND * 2, SECOND * 3600, end, -end})
    {
        SCOPED_TRACE(time);
        const running service;
        service.feed(device{.attitude = at, .until = 20.0}.events());
        const std::vector<event> batch = device{.attitude = at, .from = 20.0, .until = 21.0}.events();
        for (const event &e : batch)
            if (e.sensor != QV6DS_MAGNETOMETER)
                put(service.service, e);
        for (const event &e : batch)
            if (e.sensor == QV6DS_MAGNETOMETER)
            {
                put(service.service, e);
                put(service.service, {e.sensor, time, e.value});
            }
        const qv6ds_state state = service.state();
        const vec y = turned(turned_by_hand(20.0), axis(1));
        EXPECT_LE(apart(state.azimuth, std::atan2(y.x, y.y) * 180.0 / std::numbers::pi), state.heading_error);
        EXPECT_LT(state.heading_error, 90.0f);
        EXPECT_EQ(batch.back().time, state.time_ns);
        EXPECT_EQ(3, state.status);
        EXPECT_TRUE((state.reasons & QV6DS_TIME) != 0);
    }
}

TEST(Time, AClockThatJumpsForwardIsSaid)
{
    const running service;
    service.feed(device{.until = 20.0}.events());
    std::vector<event> later = device{.from = 20.0, .until = 21.0}.events();
    for (event &e : later)
        e.time += 3600 * SECOND;
    service.feed(later);
    const qv6ds_state state = service.state();
    EXPECT_EQ(later.back().time, state.time_ns);
    EXPECT_TRUE((state.reasons & QV6DS_TIME) != 0);
    EXPECT_EQ(3, state.status);
}

TEST(Time, AClockThatIsSetBackBeginsAgainWithWhatIsKnown)
{
    const running service;
    service.feed(device{.until = 20.0}.events());
    ASSERT_EQ(3, service.state().status);
    std::vector<event> later = device{.from = 20.0, .until = 24.0}.events();
    for (event &e : later)
        e.time -= 3600 * SECOND;
    service.feed(later);
    const qv6ds_state state = service.state();
    EXPECT_EQ(later.back().time, state.time_ns);
    EXPECT_EQ(3, state.status);
    EXPECT_LT(bias_error(state, OFFSET), 0.6);
    EXPECT_EQ(0u, state.reasons & QV6DS_TIME); // it was said for a second
}

TEST(Time, ASensorThatStopsIsSaidAndHoldsNothingUp)
{
    for (const qv6ds_sensor stops : {QV6DS_ACCELEROMETER, QV6DS_GYROSCOPE})
    {
        SCOPED_TRACE(stops);
        const running service;
        for (const event &e : device{.until = 45.0}.events())
            if (e.sensor != stops || e.time < 20 * SECOND)
                put(service.service, e);
        const qv6ds_state state = service.state();
        EXPECT_GE(state.time_ns, 34 * SECOND);
        EXPECT_EQ(stops == QV6DS_ACCELEROMETER, (state.reasons & QV6DS_NO_ACCELERATION) != 0);
        EXPECT_EQ(stops == QV6DS_ACCELEROMETER, state.heading_error == 180.0f);
        EXPECT_LT(bias_error(state, OFFSET), 0.6);
    }
}
