#include "tuning/tune.h"

#include "common/error.h"
#include "common/file.h"
#include "common/output.h"
#include "common/processes.h"
#include "common/statistics.h"
#include "common/terminal.h"
#include "library/configuration.h"
#include "library/library_log.h"
#include "library/replay.h"
#include "library/state_dir.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fmt/format.h>
#include <type_traits>
#include <unistd.h>

namespace qv6d
{

namespace fs = std::filesystem;

namespace
{

// Listens to one replay.
class figure_taker
{
public:
    explicit figure_taker(bool counts) : scale_(counts ? QV6D_MICROTESLA_PER_COUNT : 1.0f)
    {
    }

    replay_listener listener()
    {
        replay_listener all;
        all.on_log = [this](std::string_view line) { watch_.take(line); };
        all.on_event = [this](const event &e) { take(e); };
        all.on_result = [this](const event &, const sample_result &result) { take(result); };
        return all;
    }

    replay_figures figures() const
    {
        replay_figures f = {};
        f.time = time_;
        if (graded_)
            f.spread = norm_.stdev();
        f.resets = watch_.resets();
        f.last_grade = last_.grade;
        std::copy_n(last_.offset, 3, f.offset.begin());
        f.reference = reference_.best();
        const bool published = last_.radius != 0.0;
        if (published && f.reference)
            f.error = std::hypot(last_.offset[0] - f.reference->centre[0], last_.offset[1] - f.reference->centre[1],
                                 last_.offset[2] - f.reference->centre[2]);
        return f;
    }

private:
    void take(const event &e)
    {
        if (!first_t_ns_)
            first_t_ns_ = e.t_ns;
        if (e.kind != sensor::mag)
            return;
        const auto [x, y, z] = without_soft_iron({e.x * scale_, e.y * scale_, e.z * scale_});
        reference_.add(x, y, z);
    }

    void take(const sample_result &result)
    {
        last_ = result;
        if (result.grade > QV6D_GRADE_UNRELIABLE)
        {
            graded_ = true;
            const double x = result.calibrated[0], y = result.calibrated[1], z = result.calibrated[2];
            norm_.add(std::hypot(x, y, z));
        }
        if (result.grade == QV6D_GRADE_BEST && !time_)
            time_ = (static_cast<double>(result.t_ns) - static_cast<double>(*first_t_ns_)) / 1e9;
    }

    const float scale_;
    log_watch watch_;
    sphere_fit reference_;
    running_stats norm_;
    bool graded_ = false;
    std::optional<std::int64_t> first_t_ns_;
    std::optional<double> time_;
    sample_result last_ = {};
};

// Says once, before thousands of replays, that a recording cannot be replayed.
void check_recording(const std::string &path)
{
    expect_regular_file(path, "it is read for every combination");
    recording events(path);
    bool any = false;
    for (event e; events.next(&e);)
        any = any || e.kind == sensor::mag;
    if (!any)
        throw error(EXIT_MALFORMED, fmt::format("{}: holds no mag event, so there is nothing to calibrate", path));
}

std::string bytes_of(const replay_figures &figures)
{
    static_assert(std::is_trivially_copyable_v<replay_figures>);
    return {reinterpret_cast<const char *>(&figures), sizeof figures};
}

replay_figures figures_of(const std::string &bytes)
{
    replay_figures figures;
    if (bytes.size() != sizeof figures)
        throw error(EXIT_UNEXPECTED, fmt::format("a replay's result has {} bytes", bytes.size()));
    std::memcpy(static_cast<void *>(&figures), bytes.data(), sizeof figures);
    return figures;
}

// How many replays are done, on standard error when that is a terminal.
class counter
{
public:
    explicit counter(std::size_t total) : total_(total), shown_(shows_progress())
    {
        show();
    }

    ~counter()
    {
        if (shown_)
            fmt::print(stderr, "\r\033[K");
    }

    counter(const counter &) = delete;
    counter &operator=(const counter &) = delete;

    void count()
    {
        ++done_;
        show();
    }

private:
    void show() const
    {
        if (shown_)
            fmt::print(stderr, "\r\033[K{} of {} replays", done_, total_);
    }

    const std::size_t total_;
    const bool shown_;
    std::size_t done_ = 0;
};

// Runs in a process of its own; `folder` is the only place that it writes to.
replay_figures replay_once(const tune_settings &given, const std::string &recording, std::uint64_t every,
                           const std::string &customer_text, const fs::path &folder)
{
    fs::create_directories(folder);
    output file((folder / QV6D_INIT_CUSTCFG_NAME).string());
    file.print("{}", customer_text);
    file.finish();

    replay_settings settings;
    settings.recording = recording;
    settings.state = folder.string();
    settings.every = every;
    settings.counts = given.counts;
    settings.notify_gyro = given.notify_gyro;
    settings.quiet = true;
    figure_taker taker(given.counts);
    replay(settings, taker.listener());
    fs::remove_all(folder);
    return taker.figures();
}

} // namespace

std::vector<combination_result> tune(const tune_settings &settings, const customer_overlay &base,
                                     const std::vector<varied_key> &keys, const std::vector<combination> &combinations)
{
    std::for_each(settings.recordings.begin(), settings.recordings.end(), check_recording);
    const state_dir scratch("");
    const customer_overlay common = base.without_paths();
    const std::size_t per_combination = settings.recordings.size();
    std::vector<combination_result> results;
    results.reserve(combinations.size());
    for (const combination &c : combinations)
        results.push_back({c, std::vector<replay_figures>(per_combination)});

    const auto recording_of = [&](std::size_t i) -> const std::string &
    { return settings.recordings[i % per_combination]; };
    const auto result_of = [&](std::size_t i) -> combination_result & { return results[i / per_combination]; };
    counter done(results.size() * per_combination);
    process_work work;
    work.run = [&](std::size_t i)
    {
        const combination &c = result_of(i).what;
        return bytes_of(replay_once(settings, recording_of(i), c.every, common.with(pairs_of(keys, c)),
                                    scratch.path() / std::to_string(i)));
    };
    work.name = [&](std::size_t i)
    { return fmt::format("combination {} with {}", result_of(i).what.number, recording_of(i)); };
    work.take = [&](std::size_t i, const std::string &bytes)
    {
        result_of(i).replays[i % per_combination] = figures_of(bytes);
        done.count();
    };
    run_in_processes(results.size() * per_combination, settings.jobs, work);
    return results;
}

} // namespace qv6d
