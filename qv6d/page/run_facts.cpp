#include "page/run_facts.h"

#include "common/digest.h"
#include "common/invocation.h"

#include <nlohmann/json.hpp>

namespace qv6d
{

using json = nlohmann::ordered_json;

namespace
{

json or_null(const std::string &text)
{
    return text.empty() ? json() : json(text);
}

} // namespace

json run_facts(const replay_settings &settings)
{
    const auto digest = sha256_of_file(settings.recording);
    json facts = {{"input", settings.recording == "-" ? "standard input" : settings.recording},
                  {"options",
                   {{"every", settings.every},
                    {"config", or_null(settings.config)},
                    {"state", or_null(settings.state)},
                    {"mag_unit", settings.counts ? "counts" : "ut"},
                    {"notify_gyro", settings.notify_gyro}}},
                  {"sha256", digest ? json(*digest) : json()}};
    facts.update(call_facts());
    return facts;
}

json call_facts()
{
    return {{"command_line", command_line()}, {"version", "qv6d " QV6D_VERSION}, {"date", date_of_run()}};
}

} // namespace qv6d
