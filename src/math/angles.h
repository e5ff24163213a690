// The angles of the published outputs, in a header for the per-sample path.
#pragma once

#include "math/vec3.h"

#include <cmath>

inline double yaw_degrees(const qvcrd_vec3 &m)
{
    const double d = degrees(std::atan2(m.x, m.y));
    return -d >= 0.0 ? -d : 360.0 - d;
}

inline double azimuth_degrees(const qvcrd_vec3 &m, double pitch, double roll)
{
    const double sp = std::sin(pitch), cp = std::cos(pitch);
    const double sr = std::sin(roll), cr = std::cos(roll);
    const double azimuth = degrees(std::atan2(m.z * sr - m.x * cr, m.y * cp + m.x * sp * sr + m.z * sp * cr));
    return azimuth < 0.0 ? azimuth + 360.0 : azimuth;
}

// Continues the pitch past ±90 for a device that lies face down.
inline double folded_pitch_degrees(double pitch, double up)
{
    const double p = degrees(pitch);
    if (!(up < 0.0))
        return p;
    return p < 0.0 ? -180.0 - p : 180.0 - p;
}

// This half of pi, 1.5704999305307865, is twice the default inclination and not half of QVCRD_PI. The inclinations in
// record files were measured with it.
inline constexpr double HALF_PI = 0x1.920c489000000p+0;

inline double inclination(const qvcrd_vec3 &a, const qvcrd_vec3 &m)
{
    const double d = norm(a) * norm(m);
    if (d == 0.0)
        return QV6D_NO_RESULT;
    return HALF_PI - std::asin(norm(cross(a, m)) / d);
}

// Azimuth, pitch and roll. The azimuth of a device that lies level is its yaw.
inline qvcrd_vec3 orientation_degrees(const qvcrd_vec3 &a, const qvcrd_vec3 &m, bool level)
{
    const double n = norm(a);
    if (n <= 0.0)
        return {QV6D_NO_RESULT, QV6D_NO_RESULT, QV6D_NO_RESULT};

    const double pitch = std::asin(-a.y / n);
    const double roll = std::asin(a.x / n);
    return {level ? yaw_degrees(m) : azimuth_degrees(m, pitch, roll), folded_pitch_degrees(pitch, a.z), degrees(roll)};
}
