#include "commands/replay_document.h"

#include "commands/options.h"
#include "common/json_document.h"
#include "trust/words.h"

namespace qv6d
{

using nlohmann::ordered_json;

ordered_json replay_document(const replay_settings &settings, const replay_expectation &expected,
                             const summary &figures, const trust &grade_trust, const plausibility &input)
{
    ordered_json document = json_document("replay");
    document["input"] = json_of(input_of(settings, input.origin().format));
    document.update(figures.json(expected.true_offset));
    document["trust"] = json_of(grade_trust);
    document["plausibility"] = input.json();
    if (const grade_requirement &required = expected.required; required.grade > 0)
        document["required"] = {{"grade", required.grade},
                                {"within_s", json_of(required.within_s)},
                                {"met", required.met_by(figures.calibration())}};
    return document;
}

ordered_json replay_failure(const replay_settings &settings, exit_code code, const std::string &reason)
{
    ordered_json document = json_document("replay");
    document["input"] = json_of(input_of(settings, "unknown"));
    document["error"] = {{"exit_code", code}, {"text", reason}};
    return document;
}

} // namespace qv6d
