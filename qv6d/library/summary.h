// What a replay comes to, for a person and for machines.
#pragma once

#include "common/statistics.h"
#include "library/calibration.h"
#include "library/library_log.h"
#include "library/service.h"
#include "qv6dalgo.h"
#include "recordings/recording.h"

#include <array>
#include <chrono>
#include <optional>
#include <string>

namespace qv6d
{

class summary
{
public:
    // `counts`: magnetometer events are raw counts.
    explicit summary(bool counts) : scale_(counts ? QV6D_MICROTESLA_PER_COUNT : 1.0f)
    {
    }

    void count(const event &e);
    // What the magnetometer event gave. `resets` is how often the calibration was started over so far.
    void add(const event &e, const sample_result &result, std::uint64_t resets);
    // Right after the replay: the speed is taken from the construction to here.
    void finish(const log_watch &log);

    const calibration_watch &calibration() const
    {
        return calibration_;
    }

    // With the true offset known, the text and the JSON also say how far the recovered one is from it.
    std::string text(const std::string &recording, const std::optional<std::array<double, 3>> &true_offset) const;
    nlohmann::ordered_json json(const std::optional<std::array<double, 3>> &true_offset) const;

private:
    double seconds(std::int64_t t_ns) const;
    std::string offset_text(const std::optional<std::array<double, 3>> &true_offset) const;

    const float scale_; // to microtesla
    const std::chrono::steady_clock::time_point began_ = std::chrono::steady_clock::now();
    std::array<std::uint64_t, 3> events_ = {}; // by sensor
    std::optional<std::array<double, 3>> platform_bias_;
    std::uint64_t used_ = 0;
    std::int64_t first_t_ns_ = 0, last_t_ns_ = 0;
    calibration_watch calibration_;
    sample_result last_ = {};
    running_stats raw_norm_, calibrated_norm_, graded_norm_; // calibrated while an offset is published
    std::uint64_t resets_ = 0;
    start_kind started_ = start_kind::fresh;
    double wall_seconds_ = 0.0;
};

} // namespace qv6d
