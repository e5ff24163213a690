// Cycles of the calibration from a recording, replayed with the library's debug lines on, or from a device's log.
#pragma once

#include "explain/cycles.h"
#include "library/calibration.h"
#include "library/replay.h"
#include "recordings/plausibility.h"
#include "trust/trust.h"

#include <cstdint>
#include <functional>

namespace qv6d
{

struct cycle_source
{
    bool recording = false; // replayed here, not read from a log
    bool timed = false;     // times are seconds from the first; otherwise cycle numbers
    std::uint64_t cycles = 0;
    std::uint64_t starts = 0;      // of the library
    std::uint64_t foreign = 0;     // lines of a log that are none of the library's
    std::uint64_t cut = 0;         // lines of a log that are, but are not whole
    std::uint64_t resumes = 0;     // starts from a stored calibration
    calibration_watch calibration; // whose times are NaN when there are none
    trust grade_trust;
    std::optional<plausibility> input; // of a recording
};

// Hears a replay and hands out its cycles.
class cycle_listener
{
public:
    explicit cycle_listener(const std::function<void(const cycle &)> &on_cycle) : reader_(on_cycle)
    {
        source_.recording = source_.timed = true;
    }

    void on_log(const log_entry &line);
    void on_event(const event &e);
    void on_result()
    {
        ++results_;
    }

    // Seconds from the first event.
    double now() const
    {
        return now_;
    }

    // After the replay. Throws qv6d::error when there was nothing to hear.
    cycle_source finish(const replay_settings &settings, const trust &grade_trust);

private:
    cycle_reader reader_;
    cycle_source source_;
    std::optional<std::int64_t> first_t_ns_;
    double now_ = 0.0; // seconds from the first event
    std::uint64_t results_ = 0;
};

// What a reader of cycles wants to hear; each may be empty. Events and lines are those of a recording's replay.
struct cycle_hearing
{
    std::function<void(const cycle &)> on_cycle = {};
    std::function<void(const event &)> on_event = {};
    std::function<void(const log_entry &)> on_log = {};
    std::function<void(const event &, const sample_result &)> on_result = {}; // of a recording only
};

// Replays a recording with the debug lines on. Throws qv6d::error.
cycle_source replay_cycles(replay_settings settings, const cycle_hearing &hearing);

// Reads settings.recording, a recording or a log. `log_rate` gives the samples per second of a log without time stamps,
// 0 when not known. Throws qv6d::error for a file that is neither.
cycle_source read_cycles(const replay_settings &settings, double log_rate, const cycle_hearing &hearing);

} // namespace qv6d
