// Samples in any order, at any rate, with clocks that are not what they should be.

#include <gtest/gtest.h>

#include "device.h"

#include <algorithm>
#include <cstring>

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

TEST(Time, WrongTimesAreSaidAndChangeNothing)
{
    const std::vector<event> good = device{.until = 20.0}.events();
    const running service;
    for (std::size_t i = 0; i < good.size(); ++i)
    {
        put(service.service, good[i]);
        event wrong = good[i];
        wrong.value = {1.0, 2.0, 3.0};
        if (i % 50 == 0)
            put(service.service, wrong); // the same time again
        wrong.time -= SECOND / 2;
        if (i % 70 == 0 && wrong.time > SECOND)
            put(service.service, wrong);
    }
    const qv6ds_state state = service.state();
    EXPECT_EQ(3, state.status);
    EXPECT_LT(bias_error(state, OFFSET), 0.6);
    EXPECT_TRUE((state.reasons & QV6DS_TIME) != 0);
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
