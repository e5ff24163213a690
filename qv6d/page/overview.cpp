#include "page/overview.h"

#include "page/run_facts.h"
#include "qv6dalgo.h"

#include <cmath>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace qv6d
{

using nlohmann::ordered_json;

namespace
{

ordered_json first_best_grade(const ordered_json &page)
{
    for (const ordered_json &span : page["grades"])
        if (page["timed"] && span["grade"] == static_cast<int>(QV6D_GRADE_BEST))
            return span["from"];
    return nullptr;
}

double distance(const ordered_json &a, const ordered_json &b)
{
    return std::hypot(a[0].get<double>() - b[0].get<double>(), a[1].get<double>() - b[1].get<double>(),
                      a[2].get<double>() - b[2].get<double>());
}

} // namespace

ordered_json overview(const ordered_json &page)
{
    const ordered_json &published = page["published"], &best = page["best"], &truth = page["true_offset"];
    ordered_json row = {{"title", page["title"]},
                        {"page", nullptr},
                        {"calibrated", page["answers"]["calibrated"]["state"] == "yes"},
                        {"text", page["headline"]},
                        {"grade3_s", first_best_grade(page)},
                        {"trust", nullptr},
                        {"offset_ut", nullptr},
                        {"error_ut", nullptr},
                        {"error_of", nullptr},
                        {"findings", nullptr},
                        {"error", nullptr}};
    if (page["trust"].is_object())
        row["trust"] = page["trust"]["verdict"];
    if (page["plausibility"].is_object())
        row["findings"] = page["plausibility"]["findings"].size();
    if (published.is_null())
        return row;
    row["offset_ut"] = published["centre"];
    const bool good = best.is_object() && best["reservation"].is_null();
    if (truth.is_null() && !good)
        return row;
    row["error_ut"] = distance(published["centre"], truth.is_null() ? best["centre"] : truth);
    row["error_of"] = truth.is_null() ? "best" : "true";
    return row;
}

ordered_json overview_of_failure(const std::string &title, const std::string &reason)
{
    return {{"title", title}, {"page", nullptr}, {"calibrated", false}, {"error", reason}};
}

std::string overview_text(const ordered_json &row)
{
    if (!row["error"].is_null())
        return row["error"].get<std::string>();
    std::string text = row["text"].get<std::string>();
    text += row["grade3_s"].is_null() ? ", grade 3 never"
                                      : fmt::format(", grade 3 after {:.1f} s", row["grade3_s"].get<double>());
    if (row["trust"] == "contradicted")
        text += ", which the recording contradicts";
    if (const ordered_json &offset = row["offset_ut"]; !offset.is_null())
        text += fmt::format(", offset {:.1f}, {:.1f}, {:.1f} µT{}", offset[0].get<double>(), offset[1].get<double>(),
                            offset[2].get<double>(), row["calibrated"] ? "" : ", not validated");
    if (!row["error_ut"].is_null())
        text += fmt::format(", {:.1f} µT from the {}", row["error_ut"].get<double>(),
                            row["error_of"] == "true" ? "true one" : "best sphere's centre");
    return text;
}

ordered_json index_page(const ordered_json &rows)
{
    return {{"kind", "index"}, {"run", call_facts()}, {"rows", rows}};
}

ordered_json comparing_page(const std::string &title, const ordered_json &runs, const ordered_json &failed)
{
    return {{"kind", "compare"}, {"title", title}, {"run", call_facts()}, {"runs", runs}, {"failed", failed}};
}

} // namespace qv6d
