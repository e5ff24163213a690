#include "cycle_source.h"

#include "device_log.h"
#include "error.h"

#include <fmt/format.h>

namespace qv6d
{

namespace
{

bool is_recording(const std::string &path)
{
    if (path == "-")
        return true;
    line_reader lines(path);
    std::string_view first;
    return lines.next(&first) && is_recording_header(first);
}

void note_start(cycle_source *source, std::string_view line)
{
    if (line.find("LOAD_DAT_BAK [O]") != std::string_view::npos)
        ++source->resumes;
}

cycle_source replay_cycles(replay_settings settings, const std::function<void(const cycle &)> &on_cycle)
{
    cycle_listener ears(on_cycle);
    settings.debug = true;
    replay_listener listener;
    listener.on_log = [&](std::string_view line) { ears.on_log(line); };
    listener.on_event = [&](const event &e) { ears.on_event(e); };
    listener.on_result = [&](const event &, const sample_result &) { ears.on_result(); };
    replay(settings, listener);
    return ears.finish(settings);
}

cycle_source read_log(const std::string &path, double log_rate, const std::function<void(const cycle &)> &on_cycle)
{
    cycle_source source;
    cycle_reader reader(on_cycle);
    line_reader lines(path, line_reader::long_lines::cut);
    std::optional<double> first;
    double now = 0.0;
    for (std::string_view text; lines.next(&text);)
    {
        const auto line = library_line(text);
        if (!line)
        {
            source.foreign += text.empty() ? 0 : 1; // some of the library's lines end with an empty one
            continue;
        }
        note_start(&source, line->text);
        if (line->seconds && !first)
            first = line->seconds;
        if (line->seconds)
            now = *line->seconds - *first;
        else if (!first)
            now = static_cast<double>(reader.cycles()) / (log_rate > 0.0 ? log_rate : 1.0);
        if (!reader.take(line->text, now))
            ++source.cut;
    }
    reader.finish();
    source.timed = first.has_value() || log_rate > 0.0;
    source.starts = reader.starts();
    source.cycles = reader.cycles();
    if (source.cycles == 0)
        throw error(
            EXIT_MALFORMED,
            fmt::format("{}: expected a recording (header {}) or a log with the library's hcal_out lines, which "
                        "hcal.endbg = 1 in the customer file switches on",
                        path, EVENT_HEADER));
    return source;
}

} // namespace

void cycle_listener::on_log(std::string_view line)
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

cycle_source cycle_listener::finish(const replay_settings &settings)
{
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

cycle_source read_cycles(const replay_settings &settings, double log_rate,
                         const std::function<void(const cycle &)> &on_cycle)
{
    return is_recording(settings.recording) ? replay_cycles(settings, on_cycle)
                                            : read_log(settings.recording, log_rate, on_cycle);
}

} // namespace qv6d
