#include "library/library_log.h"

#include "platform/log.h"

#include <cstdarg>
#include <cstdio>
#include <exception>
#include <utility>
#include <vector>

namespace
{
std::function<void(std::string_view)> sink, watch;
std::vector<char> buffer(512);
std::exception_ptr failure; // of the sink; the library's frames must not be unwound
} // namespace

namespace qv6d
{

void set_log_sink(std::function<void(std::string_view)> take)
{
    sink = std::move(take);
    failure = nullptr;
}

void set_log_watch(std::function<void(std::string_view)> look)
{
    watch = std::move(look);
}

void rethrow_sink_failure()
{
    if (failure)
        std::rethrow_exception(std::exchange(failure, nullptr));
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
    else if (has("[qvstorage_init ") && has("LOAD_CUST_FILE [X]"))
        customer_file_left_ = true;
    else if (has("[load_file_cust ") || has("[setup_cust_cfg "))
        take_complaint(line.substr(line.find("]  ") + 3));
}

void log_watch::take_complaint(std::string_view text)
{
    constexpr std::string_view mark = "[ERR] ";
    if (!text.starts_with(mark) || text.substr(mark.size()).starts_with("Cannot open"))
        return;
    const std::string &complaint = complaints_.emplace_back(text.substr(mark.size()));
    customer_file_ended_ =
        complaint.starts_with("StringBuf OverFlow") || complaint.starts_with("Could not find out value");
}

} // namespace qv6d

// Stands in for the host's log: the linker takes this definition before that of the library's archive.
extern "C" int __android_log_print(int, const char *, const char *fmt, ...)
{
    if (!sink && !watch)
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
    try
    {
        if (watch)
            watch(line);
        if (sink)
            sink(line);
    }
    catch (...)
    {
        failure = std::current_exception();
    }
    return length;
}
