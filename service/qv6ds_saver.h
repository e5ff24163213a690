// Saves what was learnt at good moments, by a thread of its own, with nothing locked while files are written.
#pragma once

#include "qv6ds_store.h"
#include "qv6dservice.h"

#include <climits>
#include <cstdint>
#include <pthread.h>

struct qv6ds_saver
{
    // Guarded by the service's mutex.
    qv6ds_kept good; // of the last good moment
    bool any, unsaved;
    int64_t save_at, seen_at; // ns, when the next save is due; the time of the newest field
    bool due, ending;
    bool failed; // the last save

    // Set before the thread begins.
    pthread_mutex_t *mutex;
    pthread_cond_t wake = PTHREAD_COND_INITIALIZER;
    pthread_t thread;
    char directory[PATH_MAX]; // empty: nothing is kept
    int64_t interval;         // ns; below 0: only when asked
    void (*log)(void *user, int priority, const char *text);
    void *user;

    pthread_mutex_t files = PTHREAD_MUTEX_INITIALIZER; // of those who save, one after the other
};

// `mutex` is the service's.
void qv6ds_saver_begin(qv6ds_saver *saver, const qv6ds_settings &settings, pthread_mutex_t *mutex);

// Starts and ends the thread; false when the system has none.
bool qv6ds_saver_run(qv6ds_saver *saver);
void qv6ds_saver_end(qv6ds_saver *saver);

// What is kept in the directory, if there is one.
bool qv6ds_saver_load(const qv6ds_saver *saver, qv6ds_kept *kept);

// It is saved already.
void qv6ds_saver_keep(qv6ds_saver *saver, const qv6ds_kept &saved);

// What is to be saved when the time has come.
void qv6ds_saver_offer(qv6ds_saver *saver, const qv6ds_kept &good, int64_t time);

// Wakes the thread when a save is due.
void qv6ds_saver_look(qv6ds_saver *saver, int64_t time);

// After a clock was set the next save is due at the next good moment.
void qv6ds_saver_forget_time(qv6ds_saver *saver);

// With the mutex free. 0 or QV6DS_FILE.
int32_t qv6ds_saver_save(qv6ds_saver *saver);

// A line for the log, with the mutex free.
__attribute__((format(printf, 2, 3))) void qv6ds_saver_say(const qv6ds_saver *saver, const char *format, ...);
