// What would have helped: it is tried on the same recording before it is said.
#pragma once

#include "explain/cycle_counts.h"
#include "explain/cycle_source.h"

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace qv6d
{

struct remedy
{
    const char *code;
    std::uint64_t every; // of the magnetometer events that are used now
    std::vector<std::pair<std::string, double>> keys;
};

// What a recording came to under a remedy.
struct attempt
{
    bool calibrated;              // at the end
    double since;                 // s; NaN unless calibrated
    std::optional<double> grade3; // s, first shown
    trust_verdict trust;
    double graded, wrong; // s at grade 3
};

struct advice
{
    remedy what;
    attempt tried;
    std::uint64_t every; // of all magnetometer events
};

struct advice_found
{
    std::size_t tried = 0; // replays
    std::optional<advice> best;
};

// Replays a recording that did not calibrate, or whose grade was contradicted, with fewer events and other keys, each
// time in a process of its own and from nothing stored. Nothing is tried for a log, nor for standard input, which can
// be read once.
advice_found try_remedies(const cycle_counts &counts, const cycle_source &source, const replay_settings &settings);

// One sentence: what to do, and what it did to this recording.
std::string words(const advice &a);

nlohmann::ordered_json json_of(const advice &a);

} // namespace qv6d
