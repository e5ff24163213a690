// What a replay comes to, for a person and for machines.
#pragma once

#include "common/statistics.h"
#include "library/calibration.h"
#include "library/library_log.h"
#include "library/service.h"
#include "recordings/recording.h"

#include <array>
#include <optional>
#include <string>

namespace qv6d
{

class summary
{
public:
    void count(const event &e);
    // `resets` is how often the calibration was started over so far.
    void add(const sample_result &result, const std::array<double, 3> &raw_field, std::uint64_t resets);
    void finish(const log_watch &log, double wall_seconds);

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
