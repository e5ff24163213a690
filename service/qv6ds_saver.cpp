#include "qv6ds_saver.h"

#include "platform/decimal_point.h"
#include "platform/log.h"
#include "qv6ds_lock.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <unistd.h>

static constexpr int64_t RETRY = 30000000000; // ns, after a save that failed
static constexpr int64_t AT_ONCE = INT64_MIN;

void qv6ds_saver_begin(qv6ds_saver *saver, const qv6ds_settings &settings, pthread_mutex_t *mutex)
{
    const qv6ds_lock alone(&saver->files); // a save that was asked for before the last stop
    saver->mutex = mutex;
    saver->good = {};
    saver->any = saver->unsaved = saver->due = saver->ending = saver->failed = false;
    saver->save_at = saver->seen_at = AT_ONCE;
    std::snprintf(saver->directory, sizeof saver->directory, "%s",
                  settings.directory != nullptr ? settings.directory : "");
    saver->interval = settings.save_interval_ns;
    saver->log = settings.log;
    saver->user = settings.user;
    if (saver->directory[0] != '\0' && access(saver->directory, W_OK | X_OK) != 0)
    {
        saver->failed = true;
        qv6ds_saver_say(saver, "%s: cannot save there: %s", saver->directory, std::strerror(errno));
    }
}

static void *save_when_due(void *argument)
{
    auto *saver = static_cast<qv6ds_saver *>(argument);
    pthread_mutex_lock(saver->mutex);
    while (!saver->ending)
    {
        if (!saver->due)
        {
            pthread_cond_wait(&saver->wake, saver->mutex);
            continue;
        }
        saver->due = false;
        pthread_mutex_unlock(saver->mutex);
        qv6ds_saver_save(saver);
        pthread_mutex_lock(saver->mutex);
    }
    pthread_mutex_unlock(saver->mutex);
    return nullptr;
}

bool qv6ds_saver_run(qv6ds_saver *saver)
{
    return pthread_create(&saver->thread, nullptr, save_when_due, saver) == 0;
}

void qv6ds_saver_end(qv6ds_saver *saver)
{
    {
        const qv6ds_lock lock(saver->mutex);
        saver->ending = true;
        pthread_cond_signal(&saver->wake);
    }
    pthread_join(saver->thread, nullptr);
}

bool qv6ds_saver_load(const qv6ds_saver *saver, qv6ds_kept *kept)
{
    return saver->directory[0] != '\0' && qv6ds_store_load(saver->directory, kept);
}

void qv6ds_saver_keep(qv6ds_saver *saver, const qv6ds_kept &saved)
{
    saver->good = saved;
    saver->any = true;
}

void qv6ds_saver_offer(qv6ds_saver *saver, const qv6ds_kept &good, int64_t time)
{
    if (!saver->unsaved && saver->interval >= 0)
        saver->save_at = std::min(saver->save_at, time + saver->interval);
    saver->good = good;
    saver->any = saver->unsaved = true;
}

void qv6ds_saver_look(qv6ds_saver *saver, int64_t time)
{
    saver->seen_at = time;
    if (saver->interval < 0 || !saver->unsaved || time < saver->save_at || saver->directory[0] == '\0')
        return;
    saver->due = true;
    saver->save_at = time + saver->interval;
    pthread_cond_signal(&saver->wake);
}

void qv6ds_saver_forget_time(qv6ds_saver *saver)
{
    saver->save_at = saver->seen_at = AT_ONCE;
}

int32_t qv6ds_saver_save(qv6ds_saver *saver)
{
    const qv6ds_lock alone(&saver->files);
    qv6ds_kept kept;
    bool any, failed_before;
    {
        const qv6ds_lock lock(saver->mutex);
        any = saver->any && saver->directory[0] != '\0';
        kept = saver->good;
        failed_before = saver->failed;
        saver->unsaved = false;
    }
    const int failure = any ? qv6ds_store_save(saver->directory, kept) : 0;
    {
        const qv6ds_lock lock(saver->mutex);
        saver->failed = failure != 0;
        if (failure != 0)
        {
            saver->unsaved = true;
            saver->save_at = saver->seen_at + RETRY;
        }
    }
    if (failure != 0 && !failed_before)
        qv6ds_saver_say(saver, "%s: cannot save: %s; trying again", saver->directory, std::strerror(failure));
    if (failure == 0 && failed_before)
        qv6ds_saver_say(saver, "%s: saves again", saver->directory);
    return failure == 0 ? 0 : QV6DS_FILE;
}

void qv6ds_saver_say(const qv6ds_saver *saver, const char *format, ...)
{
    char text[512];
    va_list arguments;
    va_start(arguments, format);
    {
        const decimal_point point;
        std::vsnprintf(text, sizeof text, format, arguments);
    }
    va_end(arguments);
    if (saver->log != nullptr)
        saver->log(saver->user, QVLOG_PRIORITY, text);
    else
        __android_log_print(QVLOG_PRIORITY, "qv6dservice", "%s\n", text);
}
