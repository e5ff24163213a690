// Replays under every combination of a sweep, what each came to, and which was best.
#pragma once

#include "sphere.h"
#include "sweep.h"

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

struct tuned
{
    combination what;
    std::vector<replay_figures> replays; // in the order of the recordings
};

enum class criterion
{
    error,
    time,
    spread,
    resets,
};

// Over the recordings: how many lack the figure, and the worst of the others.
struct standing
{
    std::size_t missing = 0;
    std::optional<double> worst;
};

standing stand(const tuned &result, criterion by);

// Indices of the results from best to worst: by fewest recordings without the figure, then by the worst figure; equals
// by the other criteria, then in the order of combinations.
std::vector<std::size_t> ranked(const std::vector<tuned> &results, criterion by);

// Keys laid over customer files: lines of `base` that set one of them get the new value, the others follow at the end.
class customer_file
{
public:
    // Throws qv6d::error when the file cannot be read or the library stops within it.
    explicit customer_file(const std::string &path);

    // What the library would not take.
    const std::vector<std::string> &complaints() const
    {
        return complaints_;
    }

    std::string with(const std::vector<varied_key> &keys, const std::vector<double> &values) const;

    // Without the lines that name files: every replay has its own.
    customer_file without_paths() const;

private:
    std::vector<std::string> lines_;
    std::vector<std::string> complaints_;
};

// Replays every combination; the results are in their order. Throws qv6d::error, also when a recording is malformed or
// holds nothing to calibrate, which is found before the first replay.
std::vector<tuned> tune(const tune_settings &settings, const customer_file &base, const std::vector<varied_key> &keys,
                        const std::vector<combination> &combinations);

} // namespace qv6d
