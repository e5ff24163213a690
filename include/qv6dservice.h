/* libqv6dservice: the layer of a sensor service on top of libqv6dalgo.
 *
 * It takes what the sensors say and gives a heading that is right in every attitude, a calibrated field, and a status
 * that says how far both can be trusted. In short:
 *
 *   qv6ds_settings settings = qv6ds_defaults();
 *   settings.directory = "/data/vendor/sensors";
 *   qv6ds *service;
 *   qv6ds_start(&settings, &service);
 *   ... qv6ds_put(service, QV6DS_MAGNETOMETER, time_ns, x, y, z); ... qv6ds_get(service, &state); ...
 *   qv6ds_stop(service);
 *
 * Contract
 * - There is one service for a process and loaded library, since the library keeps one state. A second start says so.
 *   A service does not use the library's own table beside this layer.
 * - Every function may be called from any thread. qv6ds_put, qv6ds_get and qv6ds_local_field wait for another call for
 *   less than a millisecond, but for a flush or stop that works on a long batch: no file is touched while they wait.
 *   Saves wait for each other, and starts and stops do. Nothing is allocated after the start.
 * - Times are within 2^61 of 0; a sample of another time is refused.
 * - Results: 0 for success, below 0 one of qv6ds_error. Nothing is written through a pointer when a call fails.
 * - A null service or argument gives QV6DS_NULL, except where a function says otherwise. A service that was stopped
 *   gives QV6DS_STOPPED: its pointer stays good for that answer.
 *
 * Axes are those of the device: x to the right, y to the top, z out of the screen. East, north and up are those of the
 * world. Fields are microtesla, angles degrees, times nanoseconds of one clock for all sensors. */
#ifndef QV6DSERVICE_H
#define QV6DSERVICE_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define QV6DS_API extern "C" __attribute__((visibility("default")))
#else
#define QV6DS_API extern __attribute__((visibility("default")))
#endif

typedef struct qv6ds qv6ds;

typedef enum qv6ds_sensor
{
    QV6DS_ACCELEROMETER, /* m/s², +9.81 on the axis that points up at rest */
    QV6DS_GYROSCOPE,     /* rad/s */
    QV6DS_MAGNETOMETER   /* microtesla, the platform's own offset not taken off */
} qv6ds_sensor;

typedef enum qv6ds_error
{
    QV6DS_NULL = -1,     /* a pointer is null, or the size in front of a record is none that this version knows */
    QV6DS_STARTED = -2,  /* there is a service in this process already */
    QV6DS_STOPPED = -3,  /* the service was stopped */
    QV6DS_VALUE = -4,    /* a setting or argument has no meaning: not finite, out of range, not a sensor */
    QV6DS_FILE = -5,     /* the file cannot be written; the service goes on and tries again */
    QV6DS_NO_THREAD = -6 /* the system has no thread for saving: the service was not started */
} qv6ds_error;

/* Why the status is not higher, or what to do: bits of qv6ds_state.reasons. qv6ds_text has a sentence for each. */
typedef enum qv6ds_reason
{
    QV6DS_TURN = 1,             /* too few directions were seen: turn the device about all axes */
    QV6DS_DISTURBED = 2,        /* the field is not the earth's alone: a magnet, steel, a car */
    QV6DS_JUMPED = 4,           /* the field jumped while the device did not turn: turn it to confirm the offset */
    QV6DS_RESUMED = 8,          /* the offset is that of an earlier run: turn the device to confirm it */
    QV6DS_NO_ACCELERATION = 16, /* no acceleration for this field: no attitude */
    QV6DS_FREE_FALL = 32,       /* no gravity to be felt: no attitude */
    QV6DS_VERTICAL = 64,        /* the field lies along gravity: no heading */
    QV6DS_WAITING = 128,        /* the newest field still waits for its acceleration or gyroscope sample */
    QV6DS_REFUSED = 256,        /* samples were refused in the last second: not finite, stuck, saturated, glitches */
    QV6DS_TIME = 512,       /* a sample's time was there before or far ahead, or a clock was set, in the last second */
    QV6DS_NOT_SAVED = 1024, /* the last save failed */
    QV6DS_SOFT_IRON = 2048, /* the field's norm depends on the direction: the soft-iron matrix is not right */
    QV6DS_OTHER_FIELD = 4096, /* the field differs from qv6ds_local_field */
    QV6DS_UPRIGHT = 8192      /* the y axis points up or down: it has no azimuth; the quaternion is right */
} qv6ds_reason;

/* Begin with qv6ds_defaults() and change what is to be different. The record grows only in a library of another soname,
 * since qv6ds_defaults returns it by value. */
typedef struct qv6ds_settings
{
    size_t size;                /* of this record, as the caller knows it */
    const char *directory;      /* where the state is kept; null: nothing is kept */
    const char *customer_file;  /* null: "qvalgo-cust.cfg" of the directory */
    double learn_hz;            /* samples a second that the calibration is given, 1 to 100; 25 */
    int64_t save_interval_ns;   /* between saves, at least 1 s; 300 s; below 0: only at the stop and by qv6ds_save */
    int64_t wait_ns;            /* how long a field waits for samples of the other sensors, at most 15 s; 10.5 s */
    float mount[3][3][3];       /* by sensor: chip to device axes, row by row, for a column vector; identity */
    float soft_iron[3][3];      /* takes soft iron off a field in device axes, row by row; identity */
    int32_t wait_for_gyroscope; /* not 0: fields wait for the first gyroscope sample too; 0 */
    float field_range;          /* a component of this size is saturated, microtesla after `mount`; 4900 */

    /* A line for the system's log; null: the platform's, where the library's own lines go in any case. It calls no
     * function of this header. */
    void (*log)(void *user, int priority, const char *text);
    void *user; /* handed to log */
} qv6ds_settings;

/* What the service knows, of the newest field sample that is worked on. */
typedef struct qv6ds_state
{
    size_t size;         /* of this record, as the caller knows it: set it before qv6ds_get */
    int64_t time_ns;     /* of the field sample; 0 before the first one */
    int32_t status;      /* 0 unreliable, 1 low, 2 medium, 3 high, as the platform's sensor status */
    uint32_t reasons;    /* bits of qv6ds_reason */
    float raw[3];        /* the sample in device axes, soft iron in it */
    float bias[3];       /* hard iron, after the soft-iron matrix */
    float field[3];      /* soft iron of raw taken off, then bias; not smoothed */
    float radius;        /* of the field without the bias; 0 before there is one */
    float bias_error;    /* bounds |bias - truth| with 95 %; infinite at status 0 */
    float quaternion[4]; /* x, y, z, w: turns a device vector into east, north, up */
    float azimuth;       /* 0 to 360, of the y axis, clockwise from north */
    float pitch;         /* -90 to 90, negative when the y axis points up */
    float roll;          /* -180 to 180, negative when the x axis points up */
    float heading_error; /* bounds the azimuth's error with 95 %; 180: the heading has no meaning */
} qv6ds_state;

/* Complete settings: no directory, everything else as said above. */
QV6DS_API qv6ds_settings qv6ds_defaults(void);

/* Starts the service, takes up what is kept in the directory, and starts the thread that saves. What was learnt under
 * other matrices or another customer file is not taken up. *service is the running one's pointer after QV6DS_STARTED
 * too. A directory that cannot be written is no error: QV6DS_NOT_SAVED tells. */
QV6DS_API int32_t qv6ds_start(const qv6ds_settings *settings, qv6ds **service);

/* Takes a sample in chip axes. Samples of one sensor come in the order of their times, sensors in any order to each
 * other within `wait_ns`. Bounded: see docs/performance.md. A sample that is not usable is left out and is no error:
 * the reasons tell. The first field after a gap is worked on when the next one agrees with it. */
QV6DS_API int32_t qv6ds_put(qv6ds *service, qv6ds_sensor sensor, int64_t time_ns, float x, float y, float z);

/* The end of a batch of all sensors: works on the fields that wait. One without an acceleration has no heading. */
QV6DS_API int32_t qv6ds_flush(qv6ds *service);

/* The field of the earth at this place, from the platform's model: declination degrees east of true north, inclination
 * degrees below the horizon, strength microtesla. Azimuth and quaternion are then of true north, and the field's
 * strength and inclination are checked. */
QV6DS_API int32_t qv6ds_local_field(qv6ds *service, float declination, float inclination, float strength);

/* Writes as much of *state as its size says. */
QV6DS_API int32_t qv6ds_get(qv6ds *service, qv6ds_state *state);

/* Saves what was learnt; 0 without a directory too. Changes nothing in the results. */
QV6DS_API int32_t qv6ds_save(qv6ds *service);

/* Works on what waits, saves, ends the thread. Returns what the save returned. */
QV6DS_API int32_t qv6ds_stop(qv6ds *service);

/* One reason as a sentence for a person; of several bits the lowest; never null. */
QV6DS_API const char *qv6ds_text(uint32_t reason);

#endif
