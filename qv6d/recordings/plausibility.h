// Is a recording what it should be? What the times, norms and numbers of an input say about it, in memory that does not
// grow with it.
#pragma once

#include "common/sphere.h"
#include "recordings/event_source.h"

#include <array>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

namespace qv6d
{

enum class severity
{
    warning,
    error, // what a replay gives is not worth reading
};

struct plausibility_finding
{
    std::string code;
    severity weight;
    std::string text;
    std::optional<std::uint64_t> line; // in the file of the sensor
};

// A few of many values, evenly spread: enough for a median.
class spread_sample
{
public:
    void add(double value);
    std::optional<double> median() const;

private:
    std::vector<double> values_;
    std::uint64_t seen_ = 0, stride_ = 1;
};

class plausibility
{
public:
    // `microtesla` of a field event's unit: counts have another than 1.
    explicit plausibility(double microtesla = 1.0) : microtesla_(microtesla)
    {
    }

    // How the input was recognised; what was left out of it, at its end.
    void open(const recording_origin &origin);
    void close(const std::vector<remark> &remarks);

    const recording_origin &origin() const
    {
        return origin_;
    }

    // `line` of the event in its file.
    void add(const event &e, std::uint64_t line);

    std::vector<plausibility_finding> findings() const;

    // {"sensors": {...}, "findings": [...]}
    nlohmann::ordered_json json() const;

    // Lines of a summary: format, rates and what is strange. One line when nothing is.
    std::string text() const;

    // What --strict does: throws EXIT_MALFORMED when there are findings.
    void refuse_findings(const std::string &input) const;

private:
    struct times
    {
        std::uint64_t events = 0, same_time = 0, same_value = 0, not_numbers = 0, first_bad_line = 0;
        std::int64_t first_ns = 0, last_ns = 0;
        double longest_gap_s = 0.0, gap_at_s = 0.0;
        std::uint64_t gap_line = 0;
        std::array<float, 3> last = {};
        spread_sample norm, step_s;

        double rate() const; // Hz; 0 of fewer than two times
    };

    using list = std::vector<plausibility_finding>;

    const times &of(sensor kind) const;
    double seconds(std::int64_t t_ns) const;
    void add_step(times *t, const event &e, std::uint64_t line) const;
    void judge_presence(list *found) const;
    void judge_numbers(list *found) const;
    void judge_times(list *found) const;
    void judge_acceleration(list *found) const;
    void judge_turn_rate(list *found) const;
    void judge_field(list *found) const;
    std::string rates() const;

    double microtesla_;
    recording_origin origin_;
    std::vector<remark> remarks_;
    std::array<times, 3> sensors_; // acc, gyr, mag
    std::optional<std::int64_t> first_ns_;
    sphere_fit field_;
};

} // namespace qv6d
