#include "replay.h"

#include "error.h"
#include "library_log.h"
#include "progress.h"
#include "state_dir.h"

#include <csignal>
#include <filesystem>

namespace qv6d
{

namespace
{

volatile std::sig_atomic_t interrupted = 0;

// An interrupt ends the replay in order while this lives: temporary files go, nothing half-written stays.
class interruptible
{
public:
    interruptible()
    {
        struct sigaction action = {}; // without SA_RESTART: a read that waits ends too
        action.sa_handler = [](int) { interrupted = 1; };
        for (const int signal : {SIGINT, SIGTERM})
            sigaction(signal, &action, nullptr);
    }

    ~interruptible()
    {
        for (const int signal : {SIGINT, SIGTERM})
            std::signal(signal, SIG_DFL);
    }

    interruptible(const interruptible &) = delete;
    interruptible &operator=(const interruptible &) = delete;
};

// The library's log goes to the listener while this lives.
class listening
{
public:
    explicit listening(const replay_listener &listener)
    {
        set_log_sink(listener.on_log);
    }

    ~listening()
    {
        set_log_sink(nullptr);
    }

    listening(const listening &) = delete;
    listening &operator=(const listening &) = delete;
};

// The process is in another directory while this lives.
class directory_kept
{
public:
    directory_kept() : path_(std::filesystem::current_path())
    {
    }

    ~directory_kept()
    {
        std::error_code ignored;
        std::filesystem::current_path(path_, ignored);
    }

    directory_kept(const directory_kept &) = delete;
    directory_kept &operator=(const directory_kept &) = delete;

private:
    std::filesystem::path path_;
};

void feed(const replay_settings &settings, const replay_listener &listener, recording *events, service *device)
{
    progress bar(settings.quiet, events->lines().size());
    std::uint64_t seen = 0, mag_seen = 0;
    for (event e; events->next(&e);)
    {
        if (interrupted != 0)
            throw error(EXIT_INTERRUPTED, "interrupted");
        if (listener.on_event)
            listener.on_event(e);
        bar.update(events->lines().bytes_read(), ++seen);
        if (e.kind != sensor::mag)
        {
            device->feed(e);
            continue;
        }
        if (++mag_seen % settings.every != 0)
            continue;
        const sample_result result = device->measure(e);
        rethrow_sink_failure();
        if (listener.on_result)
            listener.on_result(e, result);
    }
}

} // namespace

void replay(const replay_settings &settings, const replay_listener &listener)
{
    recording events(settings.recording);
    const state_dir state(settings.state);
    if (!settings.config.empty())
        state.install_config(settings.config);

    const interruptible stop;
    const listening ears(listener);
    const directory_kept home;
    service device({state.path().string(), settings.counts, settings.notify_gyro, settings.debug});
    rethrow_sink_failure();
    feed(settings, listener, &events, &device);
    device.finish();
}

} // namespace qv6d
