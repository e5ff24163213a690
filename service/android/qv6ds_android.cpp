#include "android/qv6ds_android.h"

#include "qv6ds_units.h"
#include "qv6ds_vector.h"

#include <algorithm>
#include <cstring>

using namespace qv6ds_math;

static constexpr float NO_HEADING = 180.0f;

int32_t qv6ds_android_put(qv6ds *service, const ASensorEvent *event)
{
    const float *v = event->data;
    switch (event->type)
    {
    case ASENSOR_TYPE_ACCELEROMETER:
        return qv6ds_put(service, QV6DS_ACCELEROMETER, event->timestamp, v[0], v[1], v[2]);
    case ASENSOR_TYPE_GYROSCOPE:
        return qv6ds_put(service, QV6DS_GYROSCOPE, event->timestamp, v[0], v[1], v[2]);
    case ASENSOR_TYPE_MAGNETIC_FIELD_UNCALIBRATED:
        return qv6ds_put(service, QV6DS_MAGNETOMETER, event->timestamp, v[0], v[1], v[2]);
    case ASENSOR_TYPE_MAGNETIC_FIELD:
        return QV6DS_VALUE;
    default:
        return 0;
    }
}

// The angles of a sensor that the platform has given up: those beyond the vertical are in the pitch, and the azimuth is
// that of the x axis less a quarter turn.
static void fill_orientation(const qv6ds_state &state, ASensorVector *vector)
{
    const quaternion q = {static_cast<double>(state.quaternion[3]), static_cast<double>(state.quaternion[0]),
                          static_cast<double>(state.quaternion[1]), static_cast<double>(state.quaternion[2])};
    const vec x = turned(q, {1, 0, 0}), y = turned(q, {0, 1, 0}), z = turned(q, {0, 0, 1});
    const double azimuth = std::atan2(-x.y, x.x) * DEGREES;
    vector->azimuth = static_cast<float>(azimuth < 0.0 ? azimuth + 360.0 : azimuth);
    if (vector->azimuth >= 360.0f) // rounded up
        vector->azimuth = 0.0f;
    vector->pitch = static_cast<float>(std::atan2(-y.z, z.z) * DEGREES);
    vector->roll = static_cast<float>(std::asin(std::clamp(x.z, -1.0, 1.0)) * DEGREES);
    vector->status = static_cast<int8_t>(state.status);
}

static bool fill(const qv6ds_state &state, int32_t type, ASensorEvent *event)
{
    switch (type)
    {
    case ASENSOR_TYPE_MAGNETIC_FIELD:
        std::copy_n(state.field, 3, event->magnetic.v);
        event->magnetic.status = static_cast<int8_t>(state.status);
        return true;
    case ASENSOR_TYPE_MAGNETIC_FIELD_UNCALIBRATED:
        for (int i = 0; i < 3; ++i)
            event->uncalibrated_magnetic.uncalib[i] = state.field[i] + state.bias[i];
        std::copy_n(state.bias, 3, event->uncalibrated_magnetic.bias);
        return true;
    case ASENSOR_TYPE_GEOMAGNETIC_ROTATION_VECTOR:
        std::copy_n(state.quaternion, 4, event->data);
        event->data[4] = state.heading_error >= NO_HEADING
                             ? -1.0f
                             : static_cast<float>(static_cast<double>(state.heading_error) / DEGREES);
        return true;
    case QV6DS_ANDROID_ORIENTATION:
        fill_orientation(state, &event->vector);
        return true;
    default:
        return false;
    }
}

int32_t qv6ds_android_event(const qv6ds_state *state, int32_t type, ASensorEvent *event)
{
    ASensorEvent filled = {};
    filled.version = sizeof filled;
    filled.sensor = event->sensor;
    filled.type = type;
    filled.timestamp = state->time_ns;
    if (!fill(*state, type, &filled))
        return QV6DS_VALUE;
    *event = filled;
    return 0;
}
