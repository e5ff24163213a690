// A device's log as text: the library's lines out of it, with their time.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace qv6d
{

struct log_line
{
    std::string_view text;         // "[operation-line]  text"
    std::optional<double> seconds; // of the platform's time stamp, from the start of a year
};

// Takes the platform's tag, and its time stamp if any, off a line in brief, time, threadtime or plain format. Nothing
// for a line of another program.
std::optional<log_line> library_line(std::string_view line);

} // namespace qv6d
