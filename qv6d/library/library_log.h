// The library's diagnostic lines, taken where the platform's log would be, and what they tell.
#pragma once

#include "library/log_entry.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace qv6d
{

// Hands every line to `take` until the next call. Lines before the first call are dropped.
void set_log_sink(std::function<void(const log_entry &)> take);

// Calls `look` at every line, in front of the sink and whether or not there is one, until the next call.
void set_log_watch(std::function<void(const log_entry &)> look);

// What a sink throws is kept from the library's own frames; this throws it.
void rethrow_sink_failure();

// How the library came up.
enum class start_kind
{
    fresh,           // no stored calibration
    resumed,         // with the stored calibration
    config_changed,  // the stored calibration was learnt under another configuration
    data_unreadable, // the stored calibration is missing or damaged
};

// Reads the lines that are written whatever the debug switches say.
class log_watch
{
public:
    void take(const log_entry &line);

    std::uint64_t resets() const
    {
        return resets_;
    }

    start_kind started() const
    {
        return started_;
    }

    // What the library would not take from the customer file.
    const std::vector<std::string> &complaints() const
    {
        return complaints_;
    }

    // The library stopped reading the customer file, or could not open it.
    bool customer_file_left() const
    {
        return customer_file_left_;
    }

    // It stopped at a line that it could read no further from.
    bool customer_file_ended() const
    {
        return customer_file_ended_;
    }

private:
    void take_complaint(std::string_view said);

    bool customer_file_left_ = false, customer_file_ended_ = false;
    std::uint64_t resets_ = 0;
    start_kind started_ = start_kind::fresh;
    std::vector<std::string> complaints_;
};

} // namespace qv6d
