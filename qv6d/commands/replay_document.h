// What a replay says in JSON, be it the only one or one of several.
#pragma once

#include "common/error.h"
#include "library/calibration.h"
#include "library/replay.h"
#include "library/summary.h"
#include "recordings/plausibility.h"
#include "trust/trust.h"

#include <array>
#include <optional>
#include <string>

namespace qv6d
{

// What the user knows of a recording, and wants of it.
struct replay_expectation
{
    std::optional<std::array<double, 3>> true_offset; // microtesla
    grade_requirement required = {0, {}};             // of no grade: nothing
};

nlohmann::ordered_json replay_document(const replay_settings &settings, const replay_expectation &expected,
                                       const summary &figures, const trust &grade_trust, const plausibility &input);

// Of a recording that could not be replayed.
nlohmann::ordered_json replay_failure(const replay_settings &settings, exit_code code, const std::string &reason);

} // namespace qv6d
