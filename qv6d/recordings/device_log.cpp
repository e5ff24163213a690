#include "recordings/device_log.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

namespace qv6d
{

namespace
{

constexpr std::string_view TAG = "qvalgo";

std::optional<double> time_stamp(std::string_view line)
{
    constexpr int days_before[] = {0, 31, 60, 91, 121, 152, 182, 213, 244, 274, 305, 335}; // February has 29: no year
    if (line.empty() || std::isdigit(static_cast<unsigned char>(line.front())) == 0)
        return std::nullopt;
    const std::string head(line.substr(0, 32));
    int month, day, hour, minute;
    double second;
    if (std::sscanf(head.c_str(), "%2d-%2d %2d:%2d:%lf", &month, &day, &hour, &minute, &second) != 5 || month < 1 ||
        month > 12)
        return std::nullopt;
    return ((days_before[month - 1] + day - 1) * 24.0 + hour) * 3600.0 + minute * 60.0 + second;
}

// What follows the tag and its colon, with the process between them in some formats; nothing when the tag is another.
std::optional<std::string_view> after_tag(std::string_view line)
{
    const std::size_t at = line.find(TAG);
    if (at == std::string_view::npos || at < 2 || (line[at - 1] != '/' && line[at - 1] != ' '))
        return std::nullopt;
    std::string_view rest = line.substr(at + TAG.size());
    rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
    if (!rest.empty() && rest.front() == '(')
        rest.remove_prefix(std::min(rest.find(')'), rest.size() - 1) + 1);
    if (rest.substr(0, 2) != ": ")
        return std::nullopt;
    return rest.substr(2);
}

// "[operation padded to 20-line number]  ": without a tag, the shape has to tell.
bool is_plain(std::string_view line)
{
    const std::size_t close = line.find("]  ");
    return !line.empty() && line.front() == '[' && close != std::string_view::npos && close >= 26 &&
           line.find_last_of('-', close) == line.find_last_not_of("0123456789", close - 1);
}

} // namespace

std::optional<log_line> library_line(std::string_view line)
{
    if (is_plain(line))
        return log_line{line, std::nullopt};
    const auto text = after_tag(line);
    if (!text || text->empty() || text->front() != '[')
        return std::nullopt;
    return log_line{*text, time_stamp(line)};
}

} // namespace qv6d
