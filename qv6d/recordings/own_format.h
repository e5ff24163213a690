// Our own format: CSV with one event a line, or all three sensors.
#pragma once

#include "common/file.h"
#include "recordings/event_source.h"
#include "recordings/reading_options.h"

#include <array>
#include <memory>
#include <string_view>

namespace qv6d
{

inline constexpr std::string_view EVENT_HEADER = "t_ns,sensor,x,y,z";              // one event per line
inline constexpr std::string_view WIDE_HEADER = "t_ns,ax,ay,az,gx,gy,gz,mx,my,mz"; // all three sensors per line

// A byte order mark in front is no part of it.
bool is_recording_header(std::string_view line);

// Memory does not grow with the recording.
class own_format : public event_source
{
public:
    // Of the lines, the header has been read.
    own_format(std::unique_ptr<line_reader> lines, bool wide, const reading &said);

    bool next(event *e) override;

    std::uint64_t line() const override
    {
        return lines_->line();
    }

    std::uint64_t bytes_read() const override
    {
        return lines_->bytes_read();
    }

    std::uint64_t size() const override
    {
        return lines_->size();
    }

private:
    static double factor(const reading &said, quantity what);
    void read_line(std::string_view line);
    void check_order(std::int64_t t_ns);
    void convert(event *e) const;

    std::unique_ptr<line_reader> lines_;
    const bool wide_, as_written_;
    const int step_; // power of ten from the unit of time to nanoseconds
    const std::array<double, 4> factors_;
    bool any_ = false;
    std::int64_t last_t_ns_ = 0;
    event pending_[3] = {}; // of the line read last
    int pending_count_ = 0, pending_next_ = 0;
};

} // namespace qv6d
