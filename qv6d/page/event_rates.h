// How fast each sensor's events came, and the gaps between them, over the recording.
#pragma once

#include "recordings/recording.h"

#include <array>
#include <cstdint>
#include <limits>
#include <nlohmann/json_fwd.hpp>
#include <vector>

namespace qv6d
{

// Memory does not grow with the events: the parts of time become longer.
class event_rates
{
public:
    // Seconds from the first event.
    void add(sensor kind, double time);

    // Of a sensor that was heard: {t, rate_hz, gap_s}, for each part its middle, events per second, and the longest
    // time without an event that ended in it.
    nlohmann::ordered_json json() const;

private:
    struct part
    {
        std::uint32_t count = 0;
        double gap = 0.0; // seconds
    };

    struct heard
    {
        double last = std::numeric_limits<double>::quiet_NaN();
        std::vector<part> parts;
    };

    void widen();

    static constexpr std::size_t PARTS_MAX = 400;

    double width_ = 1.0, end_ = 0.0; // seconds
    std::array<heard, 3> sensors_;
};

} // namespace qv6d
