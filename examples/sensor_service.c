/* A sensor service in its smallest form: loads the library at run time, finds everything through the exported table,
 * feeds samples and prints what comes back.
 *
 *   sensor_service LIBRARY
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

static const float COUNTS_PER_MICROTESLA = 1.0f / 0.15f;

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

static void print_result(const qvs_calibration *calibration, const qvs_output *orientation)
{
    printf("%5.1f s  grade %d  offset %7.2f %7.2f %7.2f  azimuth %6.1f  pitch %6.1f  roll %6.1f\n",
           (double)calibration->timestamp / 1e9, calibration->accuracy, (double)calibration->offset[0],
           (double)calibration->offset[1], (double)calibration->offset[2], (double)orientation->x,
           (double)orientation->y, (double)orientation->z);
}

static void run(const qvs_interface *api)
{
    static const float offset[3] = {30.0f, -20.0f, 10.0f};
    for (int k = 0; k < RATE * DURATION; ++k)
    {
        const int64_t now = (int64_t)k * 1000000000 / RATE;
        float up[3], field[3];
        look((double)k / RATE, up, field);
        const qvs_sample acc = {now, up[0], up[1], up[2], 0};
        const qvs_sample mag = {now, (field[0] + offset[0]) * COUNTS_PER_MICROTESLA,
                                (field[1] + offset[1]) * COUNTS_PER_MICROTESLA,
                                (field[2] + offset[2]) * COUNTS_PER_MICROTESLA, 0};

        qvs_calibration calibration = {0};
        qvs_output orientation = {0};
        api->caliApiSetAccData(&acc);
        api->doCaliApi(&mag, &calibration);
        api->caliApiSetMagData(&mag);
        api->getOrientation(&orientation);
        if (k % (RATE * 3) == 0 || k == RATE * DURATION - 1)
            print_result(&calibration, &orientation);
    }
}

int main(int argc, char **argv)
{
    if (argc != 2)
    {
        fprintf(stderr, "usage: %s LIBRARY\n", argv[0]);
        return 2;
    }
    void *library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    const qvs_interface *api = library != NULL ? dlsym(library, "MAG_LIB_API_INTERFACE") : NULL;
    void (*terminate)(void) = NULL;
    if (library != NULL)
        *(void **)&terminate = dlsym(library, "qvalgo_term");
    if (api == NULL || terminate == NULL)
    {
        const char *reason = dlerror();
        fprintf(stderr, "%s: %s\n", argv[1], reason != NULL ? reason : "has no interface table");
        return 1;
    }

    api->initLib();
    api->enableLib();
    run(api);
    terminate(); /* saves what was learnt */
    dlclose(library);
    return 0;
}
