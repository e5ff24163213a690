// The running service: everything that the interface's functions share, and a field's way through it.
#pragma once

#include "qv6ds_attitude.h"
#include "qv6ds_guard.h"
#include "qv6ds_learner.h"
#include "qv6ds_saver.h"
#include "qv6ds_timeline.h"
#include "qv6ds_trust.h"
#include "qv6dservice.h"

#include <pthread.h>

struct qv6ds
{
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER; // guards everything below it, except where a part says otherwise
    bool started;
    qv6ds_math::matrix mount[3], soft_iron;
    qv6ds_timeline timeline;
    qv6ds_guard guard;
    qv6ds_learner learner;
    qv6ds_trust trust;
    qv6ds_attitude attitude;
    qv6ds_place place;
    qv6ds_saver saver;
    qv6ds_state state;
    int64_t refused_at, mistimed_at; // ns, when samples were refused last
    int64_t refused;                 // samples of the guard, as known then
};

// Puts a service that does not run into its first state, with what is kept in the directory.
void qv6ds_service_begin(qv6ds *service, const qv6ds_settings &settings);

// A sample in chip axes, of a sensor that exists.
void qv6ds_service_put(qv6ds *service, qv6ds_sensor sensor, int64_t time, qv6ds_math::vec value);

// Works on the fields that are complete; with `now` on all that wait.
void qv6ds_service_work(qv6ds *service, bool now);

// The state with the reasons of this moment.
qv6ds_state qv6ds_service_state(const qv6ds *service);
