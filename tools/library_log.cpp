#include "library_log.h"

#include "platform/log.h"

#include <cstdarg>
#include <cstdio>
#include <utility>
#include <vector>

namespace
{
std::function<void(std::string_view)> sink;
std::vector<char> buffer(512);
} // namespace

namespace qv6d
{

void set_log_sink(std::function<void(std::string_view)> take)
{
    sink = std::move(take);
}

void log_watch::take(std::string_view line)
{
    const auto has = [line](std::string_view text) { return line.find(text) != std::string_view::npos; };
    if (has("HCAL CLEARD(RESET)"))
        ++resets_;
    else if (has("COMPARE_CFG [X]"))
        started_ = start_kind::config_changed;
    else if (has("LOAD_DAT_BAK [O]"))
        started_ = start_kind::resumed;
    else if (has("LOAD_DAT_BAK [X]"))
        started_ = start_kind::data_unreadable;
    else if (has("[ERR]") && (has("[load_file_cust ") || has("[setup_cust_cfg ")) && !has("Cannot open"))
        complaints_.emplace_back(line.substr(line.find("[ERR]") + 6));
}

} // namespace qv6d

// Stands in for the host's log: the linker takes this definition before that of the library's archive.
extern "C" int __android_log_print(int, const char *, const char *fmt, ...)
{
    if (!sink)
        return 0;
    va_list arguments;
    va_start(arguments, fmt);
    va_list again;
    va_copy(again, arguments);
    int length = std::vsnprintf(buffer.data(), buffer.size(), fmt, arguments);
    if (length >= static_cast<int>(buffer.size()))
    {
        buffer.resize(static_cast<std::size_t>(length) + 1);
        length = std::vsnprintf(buffer.data(), buffer.size(), fmt, again);
    }
    va_end(again);
    va_end(arguments);
    if (length < 0)
        return length;

    std::string_view line(buffer.data(), static_cast<std::size_t>(length));
    while (!line.empty() && line.back() == '\n')
        line.remove_suffix(1);
    sink(line);
    return length;
}
