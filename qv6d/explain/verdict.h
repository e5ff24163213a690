// Findings told: counts, and in plain words what happened and what to do. Nothing here is measured.
#pragma once

#include "explain/findings.h"

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

namespace qv6d
{

// An outcome or a reset, and how often it happened.
struct occurrence
{
    const char *what;
    std::uint64_t count;
};

// What happened at all, in words. A buffer that is filling is nothing that happens.
std::vector<occurrence> occurrences(const cycle_counts &counts);

std::string counts_text(const cycle_counts &counts, const cycle_source &source);
nlohmann::ordered_json counts_json(const cycle_counts &counts, const cycle_source &source);

// A list: the best remedy, or none.
nlohmann::ordered_json advice_json(const findings &found);

// A cycle's time in words: "9.4 s", or the sample's number when the source has no times.
std::string moment(double time, const cycle_source &source);

// Calibrated or not, and since when.
std::string headline(const findings &found);

// Sentences for a person: calibrated or not, since when, and what to change.
std::vector<std::string> verdict(const findings &found);

} // namespace qv6d
