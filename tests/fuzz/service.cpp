// The service layer with samples of any value and time, in any order, and what it keeps written over.

#include "qv6ds_service.h"
#include "qv6ds_settings.h"
#include "sandbox.h"

#include <cmath>

using qv6ds_math::vec;

static qv6ds service;
static std::int64_t now; // ns

// A second of a device that is turned, so that an input of a few bytes reaches a calibrated service.
static void turn(input &in)
{
    const double speed = 0.1 * in.byte(), offset = 4.0 * in.byte(), strength = 1.0 + 0.3 * in.byte();
    for (int i = 0; i < 50; ++i, now += 20000000)
    {
        const double a = 0.02 * speed * i, b = 0.7 * a;
        const vec up = {std::sin(b), std::cos(b) * std::sin(a), std::cos(b) * std::cos(a)};
        const vec north = {std::cos(b), -std::sin(b) * std::sin(a), -std::sin(b) * std::cos(a)};
        qv6ds_service_put(&service, QV6DS_ACCELEROMETER, now, 9.81 * up);
        qv6ds_service_put(&service, QV6DS_GYROSCOPE, now, {speed, 0.7 * speed, 0.0});
        qv6ds_service_put(&service, QV6DS_MAGNETOMETER, now,
                          (0.5 * strength) * north - (0.85 * strength) * up + vec{offset, -offset, 0.0});
    }
}

static vec take_vector(input &in)
{
    const double x = static_cast<double>(in.real<float>()), y = static_cast<double>(in.real<float>());
    return {x, y, static_cast<double>(in.real<float>())};
}

static void put(input &in)
{
    const auto sensor = static_cast<qv6ds_sensor>(in.byte() % 3);
    const std::uint8_t kind = in.byte();
    const std::int64_t time = kind < 16 ? in.raw<std::int64_t>() : now + std::int64_t{1000000} * (kind - 32);
    qv6ds_service_put(&service, sensor, time, take_vector(in));
    if (kind >= 16)
        now = std::max(now, time);
}

static void begin(input &in)
{
    qv6ds_settings settings = qv6ds_defaults();
    settings.log = [](void *, int, const char *) {};
    settings.learn_hz = in.real<double>();
    settings.wait_ns = std::int64_t{1000000} * in.integer();
    settings.field_range = in.real<float>();
    settings.soft_iron[in.byte() % 3][in.byte() % 3] = in.real<float>();
    settings.mount[in.byte() % 3][in.byte() % 3][in.byte() % 3] = in.real<float>();
    if (!qv6ds_settings_valid(settings))
        settings = qv6ds_defaults();
    qv6ds_service_begin(&service, settings);
}

static void check()
{
    const qv6ds_state state = qv6ds_service_state(&service);
    const float *values = state.raw; // up to the radius they stand in a row
    for (int i = 0; i < 10; ++i)
        sandbox::claim(std::isfinite(values[i]), "fields, bias and radius are finite");
    sandbox::claim(state.status >= 0 && state.status <= 3, "the status is one");
    sandbox::claim(state.bias_error >= 0.0f, "the bias has a bound");
    sandbox::claim(state.azimuth >= 0.0f && state.azimuth < 360.0f, "the azimuth is an angle");
    sandbox::claim(state.heading_error >= 0.0f && state.heading_error <= 180.0f, "the heading has a bound");
    float square = 0.0f;
    for (const float part : state.quaternion)
        square += part * part;
    sandbox::claim(std::fabs(square - 1.0f) < 1e-4f, "the quaternion is a rotation");
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    input in(bytes, size);
    now = 1000000000;
    begin(in);
    while (!in.empty())
    {
        switch (in.byte() % 5)
        {
        case 0:
            turn(in);
            break;
        case 1:
            qv6ds_service_work(&service, true);
            break;
        case 2:
            service.place = {true, 0.02 * in.byte(), 0.01 * in.byte(), 0.4 * in.byte()};
            break;
        default:
            put(in);
        }
        check();
    }
    return 0;
}
