// Replays under every combination of a sweep, and what each came to.
#pragma once

#include "common/sphere.h"
#include "files/customer_overlay.h"
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
    std::vector<std::string> recordings;
    std::string base; // customer file that combinations are laid over; may be empty
    bool counts = false;
    bool notify_gyro = false;
    std::size_t jobs = 1; // processes at a time
};

// What one replay came to. A figure is missing when the replay never got there.
struct replay_figures
{
    std::optional<double> time;   // s from the first event to the first grade 3
    std::optional<double> error;  // microtesla, last published offset to the centre of the best sphere
    std::optional<double> spread; // microtesla, standard deviation of the calibrated norm while the grade is above 0
    std::uint64_t resets;
    int last_grade;
    std::array<float, 3> offset;
    std::optional<sphere> reference; // through all magnetometer events, after the soft-iron matrix in force
};

struct combination_result
{
    combination what;
    std::vector<replay_figures> replays; // in the order of the recordings
};

// Replays every combination; the results are in their order. Throws qv6d::error, also when a recording is malformed or
// holds nothing to calibrate, which is found before the first replay.
std::vector<combination_result> tune(const tune_settings &settings, const customer_overlay &base,
                                     const std::vector<varied_key> &keys, const std::vector<combination> &combinations);

} // namespace qv6d
