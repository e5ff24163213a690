/* The service on Android: from the platform's sensor events to qv6ds_put, and from the state to events.
 *
 * Pointers must not be null. Results are those of qv6dservice.h. */
#ifndef QV6DS_ANDROID_H
#define QV6DS_ANDROID_H

#include "qv6dservice.h"

#include <android/sensor.h>

/* Hands over an event of the accelerometer, of the gyroscope or of the uncalibrated magnetic field, whose field is
 * taken without the bias that comes with it. The calibrated field is refused with QV6DS_VALUE: its offset changes under
 * way. Every other event is passed over and gives 0. */
QV6DS_API int32_t qv6ds_android_put(qv6ds *service, const ASensorEvent *event);

/* Turns a state into an event of this type, with the time of the field:
 *
 *   ASENSOR_TYPE_MAGNETIC_FIELD               the field, with the status
 *   ASENSOR_TYPE_MAGNETIC_FIELD_UNCALIBRATED  the field with the bias in it, and the bias
 *   ASENSOR_TYPE_GEOMAGNETIC_ROTATION_VECTOR  the quaternion x, y, z, w and the heading's error, rad; -1 for none
 *   QV6DS_ANDROID_ORIENTATION                 azimuth, pitch -180 to 180, roll -90 to 90, as this sensor had them
 *
 * QV6DS_VALUE for another type, with the event as it was. The sensor's handle is the caller's to set. */
QV6DS_API int32_t qv6ds_android_event(const qv6ds_state *state, int32_t type, ASensorEvent *event);

/* The platform's header no longer names it. */
#define QV6DS_ANDROID_ORIENTATION 3

#endif
