// A recording through the library, as a sensor service would feed it.
#pragma once

#include "library/log_entry.h"
#include "library/service.h"
#include "recordings/plausibility.h"
#include "recordings/recording.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace qv6d
{

struct replay_settings
{
    std::string recording;   // "-" is standard input
    reading_options reading; // what a person says of its format
    std::string config;      // customer file to put into the state directory
    std::string state;       // state directory; empty: a temporary one
    std::string folder;      // of the caller, who removes it: with its customer file in place of the two
    std::uint64_t every = 1; // uses the Nth, 2Nth, ... mag event
    bool counts = false;     // mag events are raw counts
    bool notify_gyro = false;
    bool debug = false;  // switches the library's debug lines on, unless the customer file switches them off
    bool quiet = false;  // no progress bar
    bool strict = false; // refuses a recording of which something is strange, after it was read
};

// What a caller wants to hear; each may be empty.
struct replay_listener
{
    std::function<void(const log_entry &)> on_log; // each line in front of the result that it led to
    std::function<void(const event &)> on_event;
    plausibility *input = nullptr;                                       // is told of all that is read
    std::function<void(const event &, const sample_result &)> on_result; // of every mag event used
};

// Opens what the settings name, starts the library, feeds every event, saves the calibration. Throws qv6d::error; the
// calibration is then not saved. Files with relative names are opened before this is called: the process works in the
// state directory while it runs.
void replay(const replay_settings &settings, const replay_listener &listener);

} // namespace qv6d
