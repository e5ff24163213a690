// Threads and locks of the system itself: those of the language's library throw, and this layer does not catch.
#pragma once

#include <pthread.h>

class qv6ds_lock
{
public:
    explicit qv6ds_lock(pthread_mutex_t *mutex) : mutex(mutex)
    {
        pthread_mutex_lock(mutex);
    }

    ~qv6ds_lock()
    {
        pthread_mutex_unlock(mutex);
    }

    qv6ds_lock(const qv6ds_lock &) = delete;
    qv6ds_lock &operator=(const qv6ds_lock &) = delete;

private:
    pthread_mutex_t *mutex;
};
