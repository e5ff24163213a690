// Recordings: sensor events in time order, as CSV.
#pragma once

#include "common/file.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace qv6d
{

enum class sensor
{
    acc, // m/s²
    gyr, // rad/s
    mag, // microtesla or counts
};

struct event
{
    std::int64_t t_ns;
    sensor kind;
    float x, y, z;
};

inline constexpr std::string_view EVENT_HEADER = "t_ns,sensor,x,y,z";              // one event per line
inline constexpr std::string_view WIDE_HEADER = "t_ns,ax,ay,az,gx,gy,gz,mx,my,mz"; // all three sensors per line

bool is_recording_header(std::string_view line);

// Events of a recording in either form. Memory does not grow with it.
class recording
{
public:
    explicit recording(const std::string &path);

    // False at the end. Throws qv6d::error at a line that is not an event, before anything of it is handed out.
    bool next(event *e);

    const line_reader &lines() const
    {
        return lines_;
    }

private:
    void read_line(std::string_view line);
    void check_order(std::int64_t t_ns);

    line_reader lines_;
    bool wide_ = false;
    bool any_ = false;
    std::int64_t last_t_ns_ = 0;
    event pending_[3] = {}; // of the line read last
    int pending_count_ = 0, pending_next_ = 0;
};

} // namespace qv6d
