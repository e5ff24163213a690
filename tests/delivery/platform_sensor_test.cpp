// The service between the platform's own events.

#include <gtest/gtest.h>

#include "android/qv6ds_android.h"
#include "service/device.h"

static ASensorEvent event_of(const event &e)
{
    static constexpr int32_t types[] = {ASENSOR_TYPE_ACCELEROMETER, ASENSOR_TYPE_GYROSCOPE,
                                        ASENSOR_TYPE_MAGNETIC_FIELD_UNCALIBRATED};
    ASensorEvent event = {};
    event.type = types[e.sensor];
    event.timestamp = e.time;
    event.data[0] = static_cast<float>(e.value.x);
    event.data[1] = static_cast<float>(e.value.y);
    event.data[2] = static_cast<float>(e.value.z);
    event.data[3] = 77.0f; // the bias of another calibration
    return event;
}

static ASensorEvent filled(const qv6ds_state &state, int32_t type)
{
    ASensorEvent event = {};
    event.sensor = 42;
    EXPECT_EQ(0, qv6ds_android_event(&state, type, &event)) << type;
    EXPECT_EQ(type, event.type);
    EXPECT_EQ(42, event.sensor);
    EXPECT_EQ(state.time_ns, event.timestamp);
    EXPECT_EQ(static_cast<int32_t>(sizeof event), event.version);
    return event;
}

TEST(PlatformSensor, EventsGoInAndComeOut)
{
    const running service;
    for (const event &e : device{}.events())
    {
        const ASensorEvent event = event_of(e);
        ASSERT_EQ(0, qv6ds_android_put(service.service, &event));
    }
    const qv6ds_state state = service.state();
    EXPECT_EQ(3, state.status);
    EXPECT_LT(bias_error(state, OFFSET), 0.6);

    const ASensorEvent field = filled(state, ASENSOR_TYPE_MAGNETIC_FIELD);
    const ASensorEvent raw = filled(state, ASENSOR_TYPE_MAGNETIC_FIELD_UNCALIBRATED);
    EXPECT_EQ(3, field.magnetic.status);
    for (int i = 0; i < 3; ++i)
    {
        EXPECT_EQ(state.field[i], field.magnetic.v[i]);
        EXPECT_FLOAT_EQ(state.raw[i], raw.uncalibrated_magnetic.uncalib[i]);
        EXPECT_EQ(state.bias[i], raw.uncalibrated_magnetic.bias[i]);
    }
    const ASensorEvent turned = filled(state, ASENSOR_TYPE_GEOMAGNETIC_ROTATION_VECTOR);
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(state.quaternion[i], turned.data[i]);
    EXPECT_NEAR(state.heading_error, turned.data[4] * 180.0f / std::numbers::pi_v<float>, 1e-4f);
}

TEST(PlatformSensor, WhatIsNotMeantIsRefused)
{
    const running service;
    ASensorEvent event = {};
    event.type = ASENSOR_TYPE_MAGNETIC_FIELD; // its offset changes on the way
    EXPECT_EQ(QV6DS_VALUE, qv6ds_android_put(service.service, &event));
    event.type = ASENSOR_TYPE_LIGHT;
    EXPECT_EQ(0, qv6ds_android_put(service.service, &event));
    const qv6ds_state state = service.state();
    EXPECT_EQ(QV6DS_VALUE, qv6ds_android_event(&state, ASENSOR_TYPE_LIGHT, &event));
    EXPECT_EQ(ASENSOR_TYPE_LIGHT, event.type);
    EXPECT_EQ(-1.0f, filled(state, ASENSOR_TYPE_GEOMAGNETIC_ROTATION_VECTOR).data[4]);
}

TEST(PlatformSensor, OrientationHasTheAnglesThatThisSensorHad)
{
    constexpr float s = std::numbers::sqrt2_v<float> / 2.0f;
    const struct
    {
        const char *position;
        float quaternion[4]; // x, y, z, w
        float azimuth, pitch, roll;
    } rows[] = {{"flat, north", {0, 0, 0, 1}, 0, 0, 0},
                {"flat, east", {0, 0, -s, s}, 90, 0, 0},
                {"top edge up", {s, 0, 0, s}, 0, -90, 0},
                {"left edge down", {0, -s, 0, s}, 0, 0, 90},
                {"right edge down", {0, s, 0, s}, 0, 0, -90}};
    for (const auto &row : rows)
    {
        SCOPED_TRACE(row.position);
        qv6ds_state state = {};
        std::copy_n(row.quaternion, 4, state.quaternion);
        const ASensorVector vector = filled(state, QV6DS_ANDROID_ORIENTATION).vector;
        if (std::fabs(row.roll) < 80.0f && std::fabs(row.pitch) < 80.0f)
        {
            EXPECT_NEAR(row.azimuth, vector.azimuth, 0.01f);
        }
        EXPECT_NEAR(row.pitch, vector.pitch, 0.01f);
        EXPECT_NEAR(row.roll, vector.roll, 0.05f);
    }
}
