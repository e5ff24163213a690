#include "trust/words.h"

#include <algorithm>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace qv6d
{

namespace
{

constexpr std::size_t SAID = 3; // contradictions in a sentence

const char *name(trust_verdict verdict)
{
    constexpr const char *NAMES[] = {"held", "contradicted", "unjudged"};
    return NAMES[static_cast<std::size_t>(verdict)];
}

struct reason_words
{
    const char *name, *words;
};

reason_words of(unjudged_reason reason)
{
    constexpr reason_words ALL[] = {
        {"", ""},
        {"never_graded", "There is no grade to trust: grade 3 was never shown."},
        {"untimed", "Grade 3 cannot be judged: the samples have no times. Give --log-rate."},
        {"too_little",
         "Grade 3 cannot be judged: while it was shown, the device was not turned enough to see the offset "
         "again."},
        {"disturbed", "Grade 3 cannot be judged: the field itself changes, as it does near iron."},
    };
    return ALL[static_cast<std::size_t>(reason)];
}

const char *name(contradiction_kind kind)
{
    return kind == contradiction_kind::offset ? "offset" : "norm";
}

std::string held(const trust &t)
{
    const std::string when = t.judged < t.graded
                                 ? fmt::format("the {:.1f} of {:.1f} s that could be judged", t.judged, t.graded)
                                 : fmt::format("all {:.1f} s that it was shown", t.graded);
    return fmt::format(
        "Grade 3 held: in {}, the published offset was within {:.0f} µT of the one that the field shows.", when,
        OFFSET_WRONG);
}

std::string contradicted(const trust &t)
{
    std::vector<contradiction> longest = t.contradictions;
    std::ranges::stable_sort(longest, std::ranges::greater(), [](const contradiction &c) { return c.to - c.from; });
    std::string text = fmt::format("Grade 3 was wrong for {:.1f} of {:.1f} s:", t.wrong, t.graded);
    for (std::size_t i = 0; i < std::min(SAID, longest.size()); ++i)
        text += fmt::format("{} {}", i > 0 ? ";" : "", words(longest[i]));
    return text + (longest.size() > SAID ? fmt::format("; and {} more.", longest.size() - SAID) : ".");
}

nlohmann::ordered_json json_of(const contradiction &c)
{
    return {{"from_s", c.from}, {"to_s", c.to}, {"kind", name(c.kind)}, {"by_ut", c.by}, {"text", words(c)}};
}

nlohmann::ordered_json json_of(const seen_offset &o)
{
    return {
        {"from_s", o.from}, {"to_s", o.to}, {"offset_ut", o.centre}, {"radius_ut", o.radius}, {"error_ut", o.error}};
}

template <typename Item>
nlohmann::ordered_json list_of(const std::vector<Item> &items)
{
    auto list = nlohmann::ordered_json::array();
    for (const Item &item : items)
        list.push_back(json_of(item));
    return list;
}

} // namespace

std::string words(const contradiction &c)
{
    const char *what = c.kind == contradiction_kind::offset
                           ? "the field lay around another centre, {:.1f} µT from the published offset"
                           : "the calibrated field was {:.1f} µT off the learnt radius";
    return fmt::format("from {:.1f} s to {:.1f} s ", c.from, c.to) + fmt::format(fmt::runtime(what), c.by);
}

std::string words(const trust &t)
{
    switch (t.verdict)
    {
    case trust_verdict::held:
        return held(t);
    case trust_verdict::contradicted:
        return contradicted(t);
    case trust_verdict::unjudged:
        break;
    }
    return of(t.reason).words;
}

nlohmann::ordered_json json_of(const trust &t)
{
    const bool unjudged = t.verdict == trust_verdict::unjudged;
    return {{"verdict", name(t.verdict)},
            {"reason", unjudged ? nlohmann::ordered_json(of(t.reason).name) : nullptr},
            {"graded_s", t.graded},
            {"judged_s", t.judged},
            {"wrong_s", t.wrong},
            {"contradictions", list_of(t.contradictions)},
            {"offsets", list_of(t.offsets)},
            {"soft_iron", t.soft_iron},
            {"soft_iron_error", t.soft_iron_error},
            {"text", words(t)}};
}

} // namespace qv6d
