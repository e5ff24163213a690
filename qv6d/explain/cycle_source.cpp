#include "explain/cycle_source.h"

#include "common/error.h"
#include "library/library_log.h"
#include "recordings/device_log.h"
#include "trust/trust_listener.h"

#include <cmath>
#include <fmt/format.h>

namespace qv6d
{

namespace
{

bool is_replayed(const replay_settings &settings)
{
    if (settings.recording != "-")
        expect_regular_file(settings.recording, "it is read twice; - reads a recording from standard input");
    return is_recording(settings.recording, settings.reading);
}

template <typename Heard>
void tell(const std::function<void(Heard)> &listener, const std::type_identity_t<Heard> &heard)
{
    if (listener)
        listener(heard);
}

void note_start(cycle_source *source, const log_entry &line)
{
    if (line.begins("[INFO] LOAD_DAT_BAK [O]"))
        ++source->resumes;
}

// A log does not say what a start resumed: an offset counts as validated from the first cycle that validates one.
class calibration_of_cycles
{
public:
    void add(const cycle &c, bool timed)
    {
        resets_ += c.reset != reset_cause::none;
        validated_ = (validated_ || c.outcome == buffer_outcome::validated) && c.reset == reset_cause::none;
        watch_.add({timed ? c.time : std::nan(""), c.grade, c.offset, c.radius, validated_, resets_});
    }

    const calibration_watch &watch() const
    {
        return watch_;
    }

private:
    calibration_watch watch_;
    std::uint64_t resets_ = 0;
    bool validated_ = false;
};

// Seconds from the first time stamp of a log. Without stamps the samples' numbers, or seconds by their rate.
class log_clock
{
public:
    explicit log_clock(double rate) : rate_(rate > 0.0 ? rate : 1.0), timed_(rate > 0.0)
    {
    }

    // When the line was written, after so many cycles.
    double read(const log_line &line, std::uint64_t cycles)
    {
        if (line.seconds)
        {
            first_ = first_.value_or(*line.seconds);
            now_ = *line.seconds - *first_;
        }
        else if (!first_)
            now_ = static_cast<double>(cycles) / rate_;
        return now_;
    }

    bool timed() const
    {
        return timed_ || first_;
    }

private:
    const double rate_;
    const bool timed_; // by the rate
    std::optional<double> first_;
    double now_ = 0.0;
};

cycle_source read_log(const std::string &path, double log_rate, const cycle_hearing &hearing)
{
    cycle_source source;
    trust_judge grades;
    log_clock times(log_rate);
    calibration_of_cycles calibration;
    cycle_reader reader(
        [&](const cycle &c)
        {
            calibration.add(c, times.timed());
            grades.add({c.time, c.field, c.offset, c.radius, c.grade});
            tell(hearing.on_cycle, c);
        });
    line_reader lines(path, line_reader::long_lines::cut);
    for (std::string_view text; lines.next(&text);)
    {
        const auto line = library_line(text);
        if (!line)
        {
            source.foreign += text.empty() ? 0 : 1; // some of the library's lines end with an empty one
            continue;
        }
        const log_entry entry(line->text);
        note_start(&source, entry);
        if (!reader.take(entry, times.read(*line, reader.cycles())))
            ++source.cut;
    }
    reader.finish();
    source.timed = times.timed();
    source.grade_trust = grades.finish(source.timed);
    source.starts = reader.starts();
    source.cycles = reader.cycles();
    source.calibration = calibration.watch();
    if (source.cycles == 0)
        throw error(
            EXIT_MALFORMED,
            fmt::format("{}: expected a recording (header {}) or a log with the library's hcal_out lines, which "
                        "hcal.endbg = 1 in the customer file switches on",
                        path, EVENT_HEADER));
    return source;
}

} // namespace

void cycle_listener::on_log(const log_entry &line)
{
    note_start(&source_, line);
    reader_.take(line, now_);
}

void cycle_listener::on_event(const event &e)
{
    if (!first_t_ns_)
        first_t_ns_ = e.t_ns;
    now_ = (static_cast<double>(e.t_ns) - static_cast<double>(*first_t_ns_)) / 1e9;
}

cycle_source cycle_listener::finish(const replay_settings &settings, const trust &grade_trust)
{
    source_.grade_trust = grade_trust;
    reader_.finish();
    source_.starts = reader_.starts();
    source_.cycles = reader_.cycles();
    if (results_ == 0)
        throw error(EXIT_MALFORMED, fmt::format("{}: holds no mag event to use", settings.recording));
    if (source_.cycles == 0)
        throw error(EXIT_MALFORMED, fmt::format("{}: switches hcal.endbg off, without which nothing can be explained",
                                                settings.config.empty() ? "the customer file" : settings.config));
    return source_;
}

cycle_source replay_cycles(replay_settings settings, const cycle_hearing &hearing)
{
    cycle_listener cycles([&](const cycle &c) { tell(hearing.on_cycle, c); });
    calibration_watch calibration;
    trust_listener grades(settings.counts);
    log_watch watch;
    settings.debug = true;
    replay_listener listener;
    plausibility input(settings.counts ? QV6D_MICROTESLA_PER_COUNT : 1.0);
    listener.input = &input;
    listener.on_log = [&](const log_entry &line)
    {
        watch.take(line);
        cycles.on_log(line);
        tell(hearing.on_log, line);
    };
    listener.on_event = [&](const event &e)
    {
        cycles.on_event(e);
        grades.on_event(e);
        tell(hearing.on_event, e);
    };
    listener.on_result = [&](const event &e, const sample_result &result)
    {
        cycles.on_result();
        grades.on_result(e, result);
        calibration.add(sample_of(result, cycles.now(), watch.resets()));
        if (hearing.on_result)
            hearing.on_result(e, result);
    };
    replay(settings, listener);
    cycle_source source = cycles.finish(settings, grades.finish());
    source.calibration = calibration;
    source.input = input;
    return source;
}

cycle_source read_cycles(const replay_settings &settings, double log_rate, const cycle_hearing &hearing)
{
    return is_replayed(settings) ? replay_cycles(settings, hearing) : read_log(settings.recording, log_rate, hearing);
}

} // namespace qv6d
