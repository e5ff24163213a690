// What a reader needs to see the same again: the call, the options, the input's digest, the program and the date.
#pragma once

#include "library/replay.h"

#include <nlohmann/json_fwd.hpp>

namespace qv6d
{

// {command_line, options, sha256, version, date}, of a recording or a log. Reads the file once more.
nlohmann::ordered_json run_facts(const replay_settings &settings);

// {command_line, version, date} of a call that read several.
nlohmann::ordered_json call_facts();

} // namespace qv6d
