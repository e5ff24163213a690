#include "library/library_log.h"

#include "platform/log.h"

#include <cstdarg>
#include <exception>
#include <utility>

namespace
{
std::function<void(const qv6d::log_entry &)> sink, watch;
std::exception_ptr failure; // of the sink; the library's frames must not be unwound
} // namespace

namespace qv6d
{

void set_log_sink(std::function<void(const log_entry &)> take)
{
    sink = std::move(take);
    failure = nullptr;
}

void set_log_watch(std::function<void(const log_entry &)> look)
{
    watch = std::move(look);
}

void rethrow_sink_failure()
{
    if (failure)
        std::rethrow_exception(std::exchange(failure, nullptr));
}

void log_watch::take(const log_entry &line)
{
    if (!line.reports())
        return;
    const std::string_view said = line.said();
    const auto has = [said](std::string_view text) { return said.find(text) != std::string_view::npos; };
    if (has("HCAL CLEARD(RESET)"))
        ++resets_;
    else if (has("COMPARE_CFG [X]"))
        started_ = start_kind::config_changed;
    else if (has("LOAD_DAT_BAK [O]"))
        started_ = start_kind::resumed;
    else if (has("LOAD_DAT_BAK [X]"))
        started_ = start_kind::data_unreadable;
    else if (line.operation() == "qvstorage_init" && has("LOAD_CUST_FILE [X]"))
        customer_file_left_ = true;
    else if (line.operation() == "load_file_cust" || line.operation() == "setup_cust_cfg")
        take_complaint(said);
}

void log_watch::take_complaint(std::string_view said)
{
    constexpr std::string_view mark = "[ERR] ";
    if (!said.starts_with(mark) || said.substr(mark.size()).starts_with("Cannot open"))
        return;
    const std::string &complaint = complaints_.emplace_back(said.substr(mark.size()));
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
    try
    {
        const qv6d::log_entry line(fmt, &arguments);
        if (watch)
            watch(line);
        if (sink)
            sink(line);
    }
    catch (...)
    {
        failure = std::current_exception();
    }
    va_end(arguments);
    return 0;
}
