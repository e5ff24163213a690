// A device with known attitude in a known field, whose sensors feed the service.
#pragma once

#include "qv6ds_vector.h"
#include "qv6dservice.h"

#include <cmath>
#include <cstdint>
#include <functional>
#include <numbers>
#include <random>
#include <vector>

using qv6ds_math::quaternion;
using qv6ds_math::vec;

inline constexpr double GRAVITY = 9.81, FIELD = 48.0, DIP = 60.0 * std::numbers::pi / 180.0;
inline constexpr int64_t SECOND = 1000000000;
inline const vec OFFSET = {120.0, -45.0, -300.0};

// East, north, up.
inline const vec EARTH = {0.0, FIELD *std::cos(DIP), -FIELD *std::sin(DIP)};

inline vec axis(int i)
{
    return {i == 0 ? 1.0 : 0.0, i == 1 ? 1.0 : 0.0, i == 2 ? 1.0 : 0.0};
}

// Turned about the vertical, then about x, then about y.
inline quaternion attitude(double yaw, double pitch, double roll)
{
    return qv6ds_math::rotation(yaw * axis(2)) * qv6ds_math::rotation(pitch * axis(0)) *
           qv6ds_math::rotation(roll * axis(1));
}

// A hand that turns a device about all axes.
inline quaternion turned_by_hand(double t)
{
    return attitude(1.1 * t, 1.9 * std::sin(0.9 * t), 2.3 * std::sin(1.3 * t + 0.5));
}

struct event
{
    qv6ds_sensor sensor;
    int64_t time;
    vec value;
};

struct device
{
    std::function<quaternion(double)> attitude = turned_by_hand; // device to world
    std::function<vec(double)> offset = [](double) { return OFFSET; };
    double rate = 50.0;              // Hz, of each sensor
    double noise = 0.3;              // microtesla
    double from = 0.0, until = 30.0; // s
    unsigned seed = 1;

    std::vector<event> events() const
    {
        std::mt19937 bits(seed);
        std::normal_distribution<double> normal;
        const auto noisy = [&](vec v, double deviation) {
            return v + deviation * vec{normal(bits), normal(bits), normal(bits)};
        };
        std::vector<event> all;
        for (int64_t k = std::llround(from * rate); k < std::llround(until * rate); ++k)
        {
            const double t = static_cast<double>(k) / rate;
            const auto time = static_cast<int64_t>(std::llround(t * 1e9)) + SECOND; // no sample at 0
            const quaternion now = attitude(t), before = attitude(t - 1.0 / rate), back = conjugate(now);
            const vec turn = rate * rotation_vector(conjugate(before) * now);
            all.push_back({QV6DS_ACCELEROMETER, time, noisy(turned(back, GRAVITY * axis(2)), noise > 0 ? 0.02 : 0.0)});
            all.push_back({QV6DS_GYROSCOPE, time, noisy(turn, noise > 0 ? 0.002 : 0.0)});
            all.push_back({QV6DS_MAGNETOMETER, time, noisy(turned(back, EARTH) + offset(t), noise)});
        }
        return all;
    }
};

inline int32_t put(qv6ds *service, const event &e)
{
    return qv6ds_put(service, e.sensor, e.time, static_cast<float>(e.value.x), static_cast<float>(e.value.y),
                     static_cast<float>(e.value.z));
}

inline qv6ds_state get(qv6ds *service)
{
    qv6ds_state state = {};
    state.size = sizeof state;
    EXPECT_EQ(0, qv6ds_get(service, &state));
    return state;
}

// Started, and stopped at the end of the test.
struct running
{
    explicit running(qv6ds_settings settings = qv6ds_defaults())
    {
        settings.log = [](void *, int, const char *) {};
        EXPECT_EQ(0, qv6ds_start(&settings, &service));
    }

    ~running()
    {
        qv6ds_stop(service);
    }

    running(const running &) = delete;
    running &operator=(const running &) = delete;

    void feed(const std::vector<event> &events) const
    {
        for (const event &e : events)
            ASSERT_EQ(0, put(service, e));
    }

    qv6ds_state state() const
    {
        return get(service);
    }

    qv6ds *service = nullptr;
};

inline double bias_error(const qv6ds_state &state, vec truth)
{
    return norm(vec{state.bias[0], state.bias[1], state.bias[2]} - truth);
}

// Degrees between two directions of the compass.
inline double apart(double a, double b)
{
    return std::fabs(std::remainder(a - b, 360.0));
}
