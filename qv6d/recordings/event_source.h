// Where events come from, whatever the format.
#pragma once

#include "recordings/event.h"
#include "recordings/numbers.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qv6d
{

// What was recognised and decided about an input.
struct recording_origin
{
    std::string format; // code: "qv6d", "sensor_logger", "phyphox", "gnss_logger", "androsensor", "senslogs", "csv"
    std::optional<time_unit> time;      // unit of the times, where it could be another one
    std::vector<std::string> taken;     // a text for each sensor: "mag: MagnetometerUncalibrated.csv"
    std::vector<std::string> decisions; // what had to be judged or was left out: units, signs, files
};

struct remark
{
    std::string code, text;
};

class event_source
{
public:
    virtual ~event_source() = default;

    // False at the end. Throws qv6d::error at what is no event, before anything of that line is handed out.
    virtual bool next(event *e) = 0;

    // Of the event handed out last, in its own file.
    virtual std::uint64_t line() const = 0;

    virtual std::uint64_t bytes_read() const = 0;

    // 0 when not known.
    virtual std::uint64_t size() const = 0;

    // What was left out, known at the end.
    virtual std::vector<remark> remarks() const
    {
        return {};
    }
};

} // namespace qv6d
