#include "qv6ds_lock.h"
#include "qv6ds_service.h"
#include "qv6ds_settings.h"

#include <cstring>
#include <numbers>

using namespace qv6ds_math;

static constexpr double RADIANS = std::numbers::pi / 180.0;

// One for a process, as the library's state.
static constinit qv6ds the_service = {}; // constinit: its 1.6 MB are touched as buffers fill
static pthread_mutex_t start_and_stop = PTHREAD_MUTEX_INITIALIZER;

int32_t qv6ds_start(const qv6ds_settings *given, qv6ds **service)
{
    if (given == nullptr || service == nullptr || given->size != sizeof *given)
        return QV6DS_NULL;
    if (!qv6ds_settings_valid(*given))
        return QV6DS_VALUE;
    const qv6ds_lock alone(&start_and_stop);
    if (!the_service.started) // changed by starts and stops alone
    {
        qv6ds_service_begin(&the_service, *given);
        if (!qv6ds_saver_run(&the_service.saver))
            return QV6DS_NO_THREAD;
    }
    *service = &the_service;
    const qv6ds_lock lock(&the_service.mutex);
    if (the_service.started)
        return QV6DS_STARTED;
    the_service.started = true;
    return 0;
}

int32_t qv6ds_put(qv6ds *service, qv6ds_sensor sensor, int64_t time_ns, float x, float y, float z)
{
    if (service == nullptr)
        return QV6DS_NULL;
    if (sensor < QV6DS_ACCELEROMETER || sensor > QV6DS_MAGNETOMETER)
        return QV6DS_VALUE;
    const qv6ds_lock lock(&service->mutex);
    if (!service->started)
        return QV6DS_STOPPED;
    qv6ds_service_put(service, sensor, time_ns,
                      {static_cast<double>(x), static_cast<double>(y), static_cast<double>(z)});
    return 0;
}

int32_t qv6ds_flush(qv6ds *service)
{
    if (service == nullptr)
        return QV6DS_NULL;
    const qv6ds_lock lock(&service->mutex);
    if (!service->started)
        return QV6DS_STOPPED;
    qv6ds_service_work(service, true);
    return 0;
}

int32_t qv6ds_local_field(qv6ds *service, float declination, float inclination, float strength)
{
    if (service == nullptr)
        return QV6DS_NULL;
    if (!(std::fabs(declination) <= 180.0f) || !(std::fabs(inclination) <= 90.0f) || !(strength > 0.0f) ||
        !(strength <= 100.0f))
        return QV6DS_VALUE;
    const qv6ds_lock lock(&service->mutex);
    if (!service->started)
        return QV6DS_STOPPED;
    service->place = {true, static_cast<double>(declination) * RADIANS, static_cast<double>(inclination) * RADIANS,
                      static_cast<double>(strength)};
    return 0;
}

int32_t qv6ds_get(qv6ds *service, qv6ds_state *state)
{
    if (service == nullptr || state == nullptr || state->size < sizeof state->size || state->size > sizeof *state)
        return QV6DS_NULL;
    const qv6ds_lock lock(&service->mutex);
    if (!service->started)
        return QV6DS_STOPPED;
    qv6ds_state now = qv6ds_service_state(service);
    now.size = state->size;
    std::memcpy(state, &now, now.size);
    return 0;
}

int32_t qv6ds_save(qv6ds *service)
{
    if (service == nullptr)
        return QV6DS_NULL;
    {
        const qv6ds_lock lock(&service->mutex);
        if (!service->started)
            return QV6DS_STOPPED;
    }
    return qv6ds_saver_save(&service->saver);
}

int32_t qv6ds_stop(qv6ds *service)
{
    if (service == nullptr)
        return QV6DS_NULL;
    const qv6ds_lock alone(&start_and_stop);
    {
        const qv6ds_lock lock(&service->mutex);
        if (!service->started)
            return QV6DS_STOPPED;
        qv6ds_service_work(service, true);
        service->started = false;
    }
    qv6ds_saver_end(&service->saver);
    return qv6ds_saver_save(&service->saver);
}
