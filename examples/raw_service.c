/* A service on the library's table alone: loads the library at run time, finds everything through the table, hands over
 * what its sensors say and prints what comes back. What the layer of qv6dservice.h does is left to it.
 *
 *   raw_service LIBRARY
 *
 * As on a device, what is learnt is kept below /data/qvsd/ when that directory exists.
 *
 * The samples are those of a device that tumbles in a field of 48 microtesla with a hard-iron offset of (30, -20, 10).
 */

#include "qv6dalgo.h"

#include <dlfcn.h>
#include <math.h>
#include <stdio.h>

#define RATE 50     /* Hz */
#define DURATION 30 /* s */

static const float COUNTS_PER_MICROTESLA = 1.0f / QV6D_MICROTESLA_PER_COUNT;

enum sensor
{
    ACCELEROMETER,
    MAGNETOMETER
};

struct event
{
    enum sensor sensor;
    qvs_sample sample;
};

struct library
{
    void *handle;
    const qvs_interface *api;
    void (*terminate)(void);
};

static int load(struct library *library, const char *path)
{
    library->handle = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (library->handle == NULL)
        return -1;
    library->api = dlsym(library->handle, "MAG_LIB_API_INTERFACE");
    *(void **)&library->terminate = dlsym(library->handle, "qvalgo_term"); /* the table has no entry for the end */
    return library->api != NULL && library->terminate != NULL ? 0 : -1;
}

/* The device's attitude at a time, as the world's up and field seen from it. */
static void look(double t, float up[3], float field[3])
{
    const double yaw = 2.5 * t, pitch = 2.9 * sin(1.1 * t), roll = 2.7 * sin(1.7 * t + 1.0);
    const double world_up[3] = {0.0, 0.0, 9.81}, world_field[3] = {0.0, 24.0, -41.57};
    const double cy = cos(yaw), sy = sin(yaw), cp = cos(pitch), sp = sin(pitch), cr = cos(roll), sr = sin(roll);
    const double turn[3][3] = {
        {cy * cr - sy * sp * sr, sy * cr + cy * sp * sr, -cp * sr},
        {-sy * cp, cy * cp, sp},
        {cy * sr + sy * sp * cr, sy * sr - cy * sp * cr, cp * cr},
    };
    for (int i = 0; i < 3; ++i)
    {
        up[i] = field[i] = 0.0f;
        for (int j = 0; j < 3; ++j)
        {
            up[i] += (float)(turn[i][j] * world_up[j]);
            field[i] += (float)(turn[i][j] * world_field[j]);
        }
    }
}

/* The next event of the simulated sensors, in turn acceleration and field. 0 at the end. */
static int next_event(struct event *event)
{
    static const float offset[3] = {30.0f, -20.0f, 10.0f};
    static int count;
    const int k = count / 2;
    const int64_t now = (int64_t)k * 1000000000 / RATE;
    float up[3], field[3];
    look((double)k / RATE, up, field);

    const qvs_sample acc = {now, up[0], up[1], up[2], 0};
    const qvs_sample mag = {now, (field[0] + offset[0]) * COUNTS_PER_MICROTESLA,
                            (field[1] + offset[1]) * COUNTS_PER_MICROTESLA,
                            (field[2] + offset[2]) * COUNTS_PER_MICROTESLA, 0};
    event->sensor = count % 2 == 0 ? ACCELEROMETER : MAGNETOMETER;
    event->sample = event->sensor == ACCELEROMETER ? acc : mag;
    return count++ < 2 * RATE * DURATION;
}

static void print_result(const qvs_calibration *calibration, const qvs_output *orientation)
{
    printf("%5.1f s  grade %d  offset %7.2f %7.2f %7.2f  azimuth %6.1f  pitch %6.1f  roll %6.1f\n",
           (double)calibration->timestamp / 1e9, calibration->accuracy, (double)calibration->offset[0],
           (double)calibration->offset[1], (double)calibration->offset[2], (double)orientation->x,
           (double)orientation->y, (double)orientation->z);
}

static void on_magnetometer(const qvs_interface *api, const qvs_sample *raw)
{
    static int count;
    qvs_calibration calibration = {0};
    qvs_output orientation = {0};
    api->doCaliApi(raw, &calibration);

    /* The orientation is that of the field handed over, so the offset comes off first. */
    qvs_sample field = *raw;
    field.x -= calibration.offset[0] * COUNTS_PER_MICROTESLA;
    field.y -= calibration.offset[1] * COUNTS_PER_MICROTESLA;
    field.z -= calibration.offset[2] * COUNTS_PER_MICROTESLA;
    api->caliApiSetMagData(&field);
    api->getOrientation(&orientation);

    if (count % (RATE * 3) == 0 || count == RATE * DURATION - 1)
        print_result(&calibration, &orientation);
    ++count;
}

/* A value that is not finite would stay in the library's averages. */
static int is_usable(const qvs_sample *sample)
{
    return isfinite(sample->x) && isfinite(sample->y) && isfinite(sample->z);
}

static void run(const qvs_interface *api)
{
    struct event event;
    while (next_event(&event))
    {
        if (!is_usable(&event.sample))
            continue;
        switch (event.sensor)
        {
        case ACCELEROMETER:
            api->caliApiSetAccData(&event.sample);
            break;
        case MAGNETOMETER:
            on_magnetometer(api, &event.sample);
            break;
        }
    }
}

int main(int argc, char **argv)
{
    if (argc != 2)
    {
        fprintf(stderr, "usage: %s LIBRARY\n", argv[0]);
        return 2;
    }
    struct library library;
    if (load(&library, argv[1]) != 0)
    {
        const char *reason = dlerror();
        fprintf(stderr, "%s: %s\n", argv[1], reason != NULL ? reason : "lacks an entry");
        return 1;
    }

    library.api->initLib();
    run(library.api);
    library.terminate(); /* saves what was learnt */
    dlclose(library.handle);
    return 0;
}
