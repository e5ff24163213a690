#include "tuning/tune.h"

#include "common/bytes.h"
#include "common/error.h"
#include "common/file.h"
#include "common/processes.h"
#include "common/statistics.h"
#include "common/terminal.h"
#include "library/library_log.h"
#include "library/replay.h"
#include "library/state_dir.h"
#include "trust/trust_listener.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fmt/format.h>

namespace qv6d
{

namespace fs = std::filesystem;

namespace
{

// Seconds of a wrong grade 3 that are passed over: an offset may take a moment to be replaced.
constexpr double GLITCH = 1.0;

// How long an offset was shown at grade 3.
struct best_stretch
{
    std::array<double, 3> offset;
    double seconds;
};

// Listens to one replay.
class figure_taker
{
public:
    figure_taker(bool counts, const listed_recording &recording) : recording_(recording), trust_(counts)
    {
    }

    replay_listener listener()
    {
        replay_listener all;
        all.on_log = [this](const log_entry &line) { watch_.take(line); };
        all.on_event = [this](const event &e) { take(e); };
        all.on_result = [this](const event &e, const sample_result &result)
        {
            trust_.on_result(e, result);
            take(result);
        };
        return all;
    }

    replay_figures figures() const
    {
        replay_figures f;
        f.time = time_;
        if (graded_)
            f.spread = norm_.stdev();
        f.resets = watch_.resets();
        f.last_grade = last_.grade;
        std::copy_n(last_.offset, 3, f.offset.begin());
        const trust judged = trust_.finish();
        f.truth = reference_of(recording_, judged);
        f.published = last_.radius != 0.0;
        f.error = f.error_of_last();
        f.meant_to_calibrate = recording_.expected != expectation::does_not_calibrate;
        const bool known = f.truth.from == reference::source::list || !f.meant_to_calibrate;
        f.wrong_s = known ? wrong_seconds(f.truth) : judged.wrong;
        f.falsely_graded = known ? f.wrong_s > GLITCH : judged.verdict == trust_verdict::contradicted;
        return f;
    }

private:
    void take(const event &e)
    {
        if (!first_t_ns_)
            first_t_ns_ = e.t_ns;
        trust_.on_event(e);
    }

    // Time runs from one result to the next.
    void add_best(const sample_result &result)
    {
        const std::array<double, 3> offset = {result.offset[0], result.offset[1], result.offset[2]};
        if (last_.grade == QV6D_GRADE_BEST && !best_.empty())
            best_.back().seconds += (static_cast<double>(result.t_ns) - static_cast<double>(last_.t_ns)) / 1e9;
        if (result.grade == QV6D_GRADE_BEST && (best_.empty() || best_.back().offset != offset))
            best_.push_back({offset, 0.0});
    }

    double wrong_seconds(const reference &truth) const
    {
        const bool all = recording_.expected == expectation::does_not_calibrate;
        double seconds = 0.0;
        for (const best_stretch &stretch : best_)
            if (all || !(truth.error_of(stretch.offset) <= OFFSET_WRONG))
                seconds += stretch.seconds;
        return seconds;
    }

    void take(const sample_result &result)
    {
        add_best(result);
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

    const listed_recording &recording_;
    log_watch watch_;
    trust_listener trust_;
    std::vector<best_stretch> best_;
    running_stats norm_;
    bool graded_ = false;
    std::optional<std::int64_t> first_t_ns_;
    std::optional<double> time_;
    sample_result last_ = {};
};

// Says once, before thousands of replays, that a recording cannot be replayed.
void check_recording(const tune_settings &settings, const std::string &path)
{
    expect_regular_file(path, "it is read for every combination");
    recording events(path, settings.reading);
    plausibility input(settings.counts ? QV6D_MICROTESLA_PER_COUNT : 1.0);
    bool any = false;
    for (event e; events.next(&e);)
    {
        input.add(e, events.source().line());
        any = any || e.kind == sensor::mag;
    }
    input.close(events.source().remarks());
    if (settings.strict)
        input.refuse_findings(path);
    if (!any)
        throw error(EXIT_MALFORMED, fmt::format("{}: holds no mag event, so there is nothing to calibrate", path));
}

bool changes_fields(const varied_key &key)
{
    return key.name.starts_with("env.simtx");
}

// All combinations are measured against what the base saw, whichever of them run here. With another soft-iron matrix
// the offset is another one.
void share_references(const std::vector<varied_key> &keys, std::vector<combination_result> *results)
{
    if (results->empty() || std::ranges::any_of(keys, changes_fields))
        return;
    for (combination_result &result : *results)
        for (std::size_t r = 0; r < result.replays.size(); ++r)
        {
            replay_figures &f = result.replays[r];
            if (const reference &base = results->front().replays[r].truth; base.counts())
                f.truth = base;
            f.error = f.error_of_last();
        }
}

// Of a recording that nothing is known of, and whose fields show no offset, no figure says which combination is better.
// If all are like that, they decide all the same.
void decide_what_counts(const std::vector<listed_recording> &recordings, std::vector<combination_result> *results)
{
    for (combination_result &result : *results)
    {
        bool any = false;
        for (std::size_t r = 0; r < recordings.size(); ++r)
        {
            replay_figures &f = result.replays[r];
            f.counts = f.truth.counts() || recordings[r].expected != expectation::any;
            any = any || f.counts;
        }
        for (replay_figures &f : result.replays)
            f.counts = f.counts || !any;
    }
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
            show_progress("");
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
            show_progress(fmt::format("{} of {} replays", done_, total_));
    }

    const std::size_t total_;
    const bool shown_;
    std::size_t done_ = 0;
};

// Runs in a process of its own; `folder` is the only place that it writes to.
replay_figures replay_once(const tune_settings &given, const listed_recording &recording, std::uint64_t every,
                           const std::string &customer_text, const fs::path &folder)
{
    make_state_dir(folder, customer_text);

    replay_settings settings;
    settings.recording = recording.path;
    settings.reading = given.reading;
    settings.folder = folder.string();
    settings.every = every;
    settings.counts = given.counts;
    settings.notify_gyro = given.notify_gyro;
    settings.quiet = true;
    figure_taker taker(given.counts, recording);
    replay(settings, taker.listener());
    std::error_code ignored; // the folder that it is in goes, too
    fs::remove_all(folder, ignored);
    return taker.figures();
}

} // namespace

std::optional<double> replay_figures::error_of_last() const
{
    return published && truth.counts() ? std::optional(truth.error_of({offset[0], offset[1], offset[2]}))
                                       : std::nullopt;
}

void check_recordings(tune_settings *settings, bool keep_going)
{
    std::string first;
    const auto is_bad = [&](const listed_recording &recording)
    {
        try
        {
            check_recording(*settings, recording.path);
            return false;
        }
        catch (const error &e)
        {
            if (!keep_going || e.code == EXIT_INTERRUPTED)
                throw;
            note(fmt::format("left out: {}", e.what()));
            first = first.empty() ? e.what() : first;
            return true;
        }
    };
    std::erase_if(settings->recordings, is_bad);
    if (settings->recordings.empty())
        throw error(EXIT_MALFORMED, fmt::format("no recording is left: {}", first));
}

tune_outcome tune(const tune_settings &settings, const customer_overlay &base, const std::vector<varied_key> &keys,
                  const std::vector<combination> &combinations)
{
    const state_dir scratch("");
    const std::size_t per_combination = settings.recordings.size();
    tune_outcome outcome;
    std::vector<combination_result> &results = outcome.results;
    results.reserve(combinations.size());
    for (const combination &c : combinations)
        results.push_back({c, std::vector<replay_figures>(per_combination)});
    std::vector<std::size_t> missing(results.size(), per_combination);

    const auto recording_of = [&](std::size_t i) -> const listed_recording &
    { return settings.recordings[i % per_combination]; };
    const auto result_of = [&](std::size_t i) -> combination_result & { return results[i / per_combination]; };
    counter done(results.size() * per_combination);
    process_work work;
    work.run = [&](std::size_t i)
    {
        const combination &c = result_of(i).what;
        return bytes_of(replay_once(settings, recording_of(i), c.every, base.with(pairs_of(keys, c)),
                                    scratch.path() / std::to_string(i)));
    };
    work.name = [&](std::size_t i)
    { return fmt::format("combination {} with {}", result_of(i).what.number, recording_of(i).path); };
    work.take = [&](std::size_t i, const std::string &bytes)
    {
        result_of(i).replays[i % per_combination] = from_bytes<replay_figures>(bytes);
        --missing[i / per_combination];
        done.count();
    };
    try
    {
        run_in_processes(results.size() * per_combination, settings.jobs, work);
    }
    catch (const error &e)
    {
        if (e.code != EXIT_INTERRUPTED)
            throw;
        outcome.interrupted = true;
        std::size_t k = 0;
        std::erase_if(results, [&](const combination_result &) { return missing[k++] > 0; });
    }
    share_references(keys, &results);
    decide_what_counts(settings.recordings, &results);
    return outcome;
}

} // namespace qv6d
