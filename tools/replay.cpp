#include "replay.h"

#include "library_log.h"
#include "output.h"
#include "progress.h"
#include "recording.h"
#include "service.h"
#include "state_dir.h"
#include "summary.h"

#include <chrono>
#include <fmt/compile.h>
#include <unistd.h>

namespace qv6d
{

namespace
{

std::array<double, 3> raw_microtesla(const event &e, bool counts)
{
    const float scale = counts ? MICROTESLA_PER_COUNT : 1.0f;
    return {e.x * scale, e.y * scale, e.z * scale};
}

void print_row(output *rows, const sample_result &r)
{
    rows->print("{},{},{},{},{},{},{},{},{},{},{},{}\n", r.t_ns, r.calibrated[0], r.calibrated[1], r.calibrated[2],
                r.offset[0], r.offset[1], r.offset[2], r.radius, r.grade, r.azimuth, r.pitch, r.roll);
}

// Where the rows go: to the file named, else down the pipe, but not over a person's screen or into the JSON.
void open_rows(std::optional<output> *rows, const replay_options &options)
{
    const bool down_the_pipe = !options.json && isatty(STDOUT_FILENO) == 0;
    if (options.output.empty() && !down_the_pipe)
        return;
    rows->emplace(options.output.empty() ? std::string("-") : options.output);
    (*rows)->print("t_ns,cal_x,cal_y,cal_z,off_x,off_y,off_z,radius,grade,azimuth,pitch,roll\n");
}

void run(const replay_options &options, recording *events, service *device, std::optional<output> *rows, summary *sums)
{
    progress bar(events->lines().size());
    std::uint64_t seen = 0, mag_seen = 0;
    for (event e; events->next(&e);)
    {
        sums->count(e);
        bar.update(events->lines().bytes_read(), ++seen);
        if (e.kind != sensor::mag)
        {
            device->feed(e);
            continue;
        }
        if (++mag_seen % options.every != 0)
            continue;
        const sample_result result = device->measure(e);
        sums->add(result, raw_microtesla(e, options.counts));
        if (*rows)
            print_row(&**rows, result);
    }
}

void print_complaints(const log_watch &watch)
{
    for (const std::string &complaint : watch.complaints())
        fmt::print(stderr, "qv6d: customer file: {}\n", complaint);
}

} // namespace

void replay(const replay_options &options)
{
    // Everything that the user names is opened before the service enters its directory.
    recording events(options.recording);
    std::optional<output> rows, log;
    open_rows(&rows, options);
    if (!options.log.empty())
        log.emplace(options.log);
    const state_dir state(options.state);
    if (!options.config.empty())
        state.install_config(options.config);

    log_watch watch;
    set_log_sink(
        [&](std::string_view line)
        {
            watch.take(line);
            if (log)
                log->print("E/qvalgo: {}\n", line);
        });
    service device({state.path().string(), options.counts, options.notify_gyro});
    print_complaints(watch);

    summary sums;
    const auto start = std::chrono::steady_clock::now();
    run(options, &events, &device, &rows, &sums);
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
    device.finish();
    set_log_sink(nullptr);
    if (rows)
        rows->finish();
    if (log)
        log->finish();

    sums.finish(watch, wall.count());
    const bool rows_on_screen = options.output == "-" || (options.output.empty() && rows);
    std::FILE *screen = rows_on_screen && !options.json ? stderr : stdout;
    fmt::print(screen, "{}",
               options.json ? sums.json(options.recording, options.true_offset)
                            : sums.text(options.recording, options.true_offset));
}

} // namespace qv6d
