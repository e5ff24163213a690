/* A sensor service in its smallest form: one thread hands over what the sensors say, another one asks for the heading.
 *
 *   qv6d simulate | sensor_service [DIRECTORY]
 *
 * The sensors are the rows of a recording, on standard input. */
#define _POSIX_C_SOURCE 200809L
#include "qv6dservice.h"

#include <pthread.h>
#include <stdatomic.h>
#include <stdio.h>
#include <time.h>

static atomic_int ended;

static void *run_sensors(void *service)
{
    char line[128], name;
    long long time;
    float x, y, z;
    while (fgets(line, sizeof line, stdin) != NULL)
    {
        if (sscanf(line, "%lld,%c%*[a-z],%f,%f,%f", &time, &name, &x, &y, &z) != 5)
            continue; /* the header */
        const qv6ds_sensor sensor = name == 'a'   ? QV6DS_ACCELEROMETER
                                    : name == 'g' ? QV6DS_GYROSCOPE
                                                  : QV6DS_MAGNETOMETER;
        qv6ds_put(service, sensor, time, x, y, z);
    }
    qv6ds_flush(service);
    ended = 1;
    return NULL;
}

int main(int argc, char **argv)
{
    qv6ds_settings settings = qv6ds_defaults();
    settings.directory = argc > 1 ? argv[1] : NULL;
    qv6ds *service;
    pthread_t sensors;
    if (qv6ds_start(&settings, &service) != 0 || pthread_create(&sensors, NULL, run_sensors, service) != 0)
        return 1;
    for (int last = 0; !last;)
    {
        qv6ds_state state = {.size = sizeof state};
        nanosleep(&(struct timespec){.tv_nsec = 50000000}, NULL);
        last = ended;
        qv6ds_get(service, &state);
        printf("status %d  azimuth %6.1f +- %5.1f  %s\n", (int)state.status, (double)state.azimuth,
               (double)state.heading_error, qv6ds_text(state.reasons));
    }
    pthread_join(sensors, NULL);
    return qv6ds_stop(service) == 0 ? 0 : 1;
}
