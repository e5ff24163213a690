// What every call says of a null pointer, before the start and after the stop, and from many threads at once.

#include <gtest/gtest.h>

#include "device.h"

#include <cstring>
#include <limits>
#include <set>
#include <thread>

TEST(Interface, NullAndStoppedAreSaidByEveryCall)
{
    qv6ds_settings settings = qv6ds_defaults();
    qv6ds *service = nullptr;
    qv6ds_state state = {};
    state.size = sizeof state;
    EXPECT_EQ(QV6DS_NULL, qv6ds_start(nullptr, &service));
    EXPECT_EQ(QV6DS_NULL, qv6ds_start(&settings, nullptr));
    ASSERT_EQ(0, qv6ds_start(&settings, &service));
    qv6ds *second = nullptr;
    EXPECT_EQ(QV6DS_STARTED, qv6ds_start(&settings, &second));
    EXPECT_EQ(service, second);
    EXPECT_EQ(QV6DS_NULL, qv6ds_get(service, nullptr));
    state.size = sizeof state + 1;
    EXPECT_EQ(QV6DS_NULL, qv6ds_get(service, &state));
    EXPECT_EQ(QV6DS_VALUE, qv6ds_put(service, static_cast<qv6ds_sensor>(3), 1, 0, 0, 0));
    EXPECT_EQ(QV6DS_VALUE, qv6ds_local_field(service, 0.0f, 91.0f, 48.0f));
    EXPECT_EQ(0, qv6ds_stop(service));

    for (qv6ds *which : {static_cast<qv6ds *>(nullptr), service})
    {
        const int32_t expected = which == nullptr ? QV6DS_NULL : QV6DS_STOPPED;
        state.size = sizeof state;
        EXPECT_EQ(expected, qv6ds_put(which, QV6DS_MAGNETOMETER, 1, 0, 0, 0));
        EXPECT_EQ(expected, qv6ds_flush(which));
        EXPECT_EQ(expected, qv6ds_local_field(which, 0.0f, 60.0f, 48.0f));
        EXPECT_EQ(expected, qv6ds_get(which, &state));
        EXPECT_EQ(expected, qv6ds_save(which));
        EXPECT_EQ(expected, qv6ds_stop(which));
    }
}

TEST(Interface, SettingsWithoutMeaningAreRefused)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const std::function<void(qv6ds_settings *)> spoil[] = {
        [](qv6ds_settings *s) { s->learn_hz = 0.0; },           [](qv6ds_settings *s) { s->learn_hz = std::nan(""); },
        [](qv6ds_settings *s) { s->learn_hz = 101.0; },         [nan](qv6ds_settings *s) { s->mount[2][0][0] = nan; },
        [nan](qv6ds_settings *s) { s->soft_iron[1][1] = nan; }, [](qv6ds_settings *s) { s->field_range = 0.0f; },
    };
    for (const auto &spoils : spoil)
    {
        qv6ds_settings settings = qv6ds_defaults();
        spoils(&settings);
        qv6ds *service = nullptr;
        EXPECT_EQ(QV6DS_VALUE, qv6ds_start(&settings, &service));
        EXPECT_EQ(nullptr, service);
    }
}

TEST(Interface, ACallerWithASmallerRecordGetsWhatFits)
{
    const running service;
    service.feed(device{.until = 10.0}.events());
    char memory[sizeof(qv6ds_state)];
    std::memset(memory, 0x5a, sizeof memory);
    const std::size_t known = offsetof(qv6ds_state, bias);
    std::memcpy(memory, &known, sizeof known);
    ASSERT_EQ(0, qv6ds_get(service.service, reinterpret_cast<qv6ds_state *>(memory)));
    EXPECT_EQ(0x5a, memory[known]);
    int32_t status;
    std::memcpy(&status, memory + offsetof(qv6ds_state, status), sizeof status);
    EXPECT_EQ(3, status);
}

TEST(Interface, EveryReasonHasASentence)
{
    std::set<std::string> sentences;
    for (uint32_t bit = 1; bit <= QV6DS_UPRIGHT; bit <<= 1)
        sentences.insert(qv6ds_text(bit));
    EXPECT_EQ(14u, sentences.size());
    EXPECT_EQ(0u, sentences.count(qv6ds_text(0)));
}

TEST(Interface, ChipAxesAreTurnedByTheMountMatrices)
{
    // A magnetometer whose x is the device's y and whose y is the device's -x.
    qv6ds_settings settings = qv6ds_defaults();
    const float mount[3][3] = {{0, -1, 0}, {1, 0, 0}, {0, 0, 1}};
    std::memcpy(settings.mount[QV6DS_MAGNETOMETER], mount, sizeof mount);
    const running service(settings);
    std::vector<event> events = device{.until = 15.0}.events();
    for (event &e : events)
        if (e.sensor == QV6DS_MAGNETOMETER)
            e.value = {e.value.y, -e.value.x, e.value.z};
    service.feed(events);
    const qv6ds_state state = service.state();
    EXPECT_EQ(3, state.status);
    EXPECT_LT(bias_error(state, OFFSET), 0.6);
}

TEST(Interface, AnyThreadMayCallAnything)
{
    const running service;
    const std::vector<event> events = device{.until = 20.0}.events();
    std::atomic<bool> done = false;
    std::vector<std::thread> threads;
    for (const qv6ds_sensor sensor : {QV6DS_ACCELEROMETER, QV6DS_GYROSCOPE, QV6DS_MAGNETOMETER})
        threads.emplace_back(
            [&, sensor]
            {
                for (const event &e : events)
                    if (e.sensor == sensor)
                        put(service.service, e);
            });
    std::thread reader(
        [&]
        {
            while (!done)
            {
                const qv6ds_state state = service.state();
                const double length = std::hypot(std::hypot(state.quaternion[0], state.quaternion[1]),
                                                 std::hypot(state.quaternion[2], state.quaternion[3]));
                ASSERT_NEAR(1.0, length, 1e-5); // a torn record would not be a rotation
                for (int i = 0; i < 3; ++i)
                    ASSERT_NEAR(state.field[i], state.raw[i] - state.bias[i], 1e-3);
                qv6ds_save(service.service);
                qv6ds_local_field(service.service, 3.0f, 60.0f, 48.0f);
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    done = true;
    reader.join();
    qv6ds_flush(service.service);
    const qv6ds_state state = service.state();
    EXPECT_EQ(3, state.status);
    EXPECT_LT(bias_error(state, OFFSET), 0.6);
}
