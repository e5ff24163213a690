// The verdict on a grade, for a person and for machines.
#pragma once

#include "trust/trust.h"

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace qv6d
{

// One sentence. The longest contradictions come first.
std::string words(const trust &t);

// "from 88.7 s to 103.4 s: the field lay around another centre, 26.7 µT from the published offset".
std::string words(const contradiction &c);

// Codes and figures, and the sentences beside them.
nlohmann::ordered_json json_of(const trust &t);

} // namespace qv6d
