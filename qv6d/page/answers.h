// The page's first questions, answered for a person who knows nothing of the calibration: a sentence each, and at most
// one more line.
#pragma once

#include "explain/findings.h"

#include <array>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

namespace qv6d
{

// What the findings do not hold.
struct page_insights
{
    std::optional<cycle> last_reset;
    std::vector<std::string>
        ways_to_missing_sides; // "stand it on its left edge", of the sides the field has not been at
};

// {calibrated: {state, text, more}, why: {question, text, more}, now: {text, more}}; `more` may be null.
nlohmann::ordered_json answers(const findings &found, const page_insights &seen);

} // namespace qv6d
