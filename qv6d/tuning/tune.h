// Replays under every combination of a sweep, and what each came to.
#pragma once

#include "files/customer_overlay.h"
#include "recordings/reading_options.h"
#include "tuning/recording_list.h"
#include "tuning/reference.h"
#include "tuning/sweep.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qv6d
{

struct tune_settings
{
    std::vector<listed_recording> recordings;
    std::string base;        // customer file that combinations are laid over; may be empty
    reading_options reading; // what a person says of their format
    bool strict = false;     // refuses recordings of which something is strange
    bool counts = false;
    bool notify_gyro = false;
    std::size_t jobs = 1; // processes at a time
};

// What one replay came to. A figure is missing when the replay never got there.
struct replay_figures
{
    std::optional<double> time;   // s from the first event to the first grade 3
    std::optional<double> error;  // microtesla, last published offset to the reference
    std::optional<double> spread; // microtesla, standard deviation of the calibrated norm while the grade is above 0
    std::uint64_t resets = 0;
    int last_grade = 0;
    std::array<float, 3> offset = {};
    bool published = false; // the offset
    reference truth = {};
    double wrong_s = 0.0; // at grade 3 with a wrong offset; of a recording that must not calibrate, all at grade 3
    bool falsely_graded = false; // for longer than a glitch
    bool meant_to_calibrate = true;
    bool counts = true; // the recording decides the rank

    // None without an offset or a reference.
    std::optional<double> error_of_last() const;
};

struct combination_result
{
    combination what;
    std::vector<replay_figures> replays; // in the order of the recordings
};

// Throws qv6d::error when a recording is malformed or holds nothing to calibrate. With `keep_going` such recordings are
// named and left out, as long as others are left.
void check_recordings(tune_settings *settings, bool keep_going);

struct tune_outcome
{
    std::vector<combination_result> results; // of those that are done
    bool interrupted = false;
};

// Replays every combination; the results are in their order. An interrupt ends that early. Throws qv6d::error.
tune_outcome tune(const tune_settings &settings, const customer_overlay &base, const std::vector<varied_key> &keys,
                  const std::vector<combination> &combinations);

} // namespace qv6d
