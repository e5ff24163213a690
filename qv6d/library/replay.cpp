#include "library/replay.h"

#include "common/interrupt.h"
#include "common/progress.h"
#include "library/library_log.h"
#include "library/state_dir.h"

#include <filesystem>
#include <optional>

namespace qv6d
{

namespace
{

// The library's log goes to the listener while this lives.
class log_connection
{
public:
    explicit log_connection(const replay_listener &listener)
    {
        set_log_sink(listener.on_log);
    }

    ~log_connection()
    {
        set_log_sink(nullptr);
    }

    log_connection(const log_connection &) = delete;
    log_connection &operator=(const log_connection &) = delete;
};

// The service changes the working directory; the destructor changes it back.
class working_directory_guard
{
public:
    working_directory_guard() : path_(std::filesystem::current_path())
    {
    }

    ~working_directory_guard()
    {
        std::error_code ignored;
        std::filesystem::current_path(path_, ignored);
    }

    working_directory_guard(const working_directory_guard &) = delete;
    working_directory_guard &operator=(const working_directory_guard &) = delete;

private:
    std::filesystem::path path_;
};

void feed(const replay_settings &settings, const replay_listener &listener, recording *events, service *device)
{
    progress bar(settings.quiet, events->source().size());
    std::uint64_t seen = 0, mag_seen = 0;
    for (event e; events->next(&e);)
    {
        throw_if_interrupted();
        if (listener.input != nullptr)
            listener.input->add(e, events->source().line());
        if (listener.on_event)
            listener.on_event(e);
        bar.update(events->source().bytes_read(), ++seen);
        if (e.kind == sensor::bias)
            continue;
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
    recording events(settings.recording, settings.reading);
    if (listener.input != nullptr)
        listener.input->open(events.origin());
    std::optional<state_dir> state;
    if (settings.folder.empty())
        state.emplace(settings.state);
    if (!settings.config.empty())
        state->install_config(settings.config);

    const log_connection log(listener);
    const working_directory_guard caller;
    service device(
        {state ? state->path().string() : settings.folder, settings.counts, settings.notify_gyro, settings.debug});
    rethrow_sink_failure();
    feed(settings, listener, &events, &device);
    if (listener.input != nullptr)
        listener.input->close(events.source().remarks());
    if (listener.input != nullptr && settings.strict)
        listener.input->refuse_findings(settings.recording);
    device.finish();
    if (state)
        state->keep();
}

} // namespace qv6d
