// qv6d replay: a recording through the library, as a sensor service would feed it.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace qv6d
{

struct replay_options
{
    std::string recording;
    std::string output;      // rows; empty: standard output unless that is a terminal
    std::string config;      // customer file to put into the state directory
    std::string state;       // state directory; empty: a temporary one
    std::string log;         // the library's log
    std::uint64_t every = 1; // uses every Nth mag event
    bool counts = false;     // mag events are raw counts
    bool notify_gyro = false;
    bool json = false;
    std::optional<std::array<double, 3>> true_offset; // microtesla
};

void replay(const replay_options &options);

} // namespace qv6d
