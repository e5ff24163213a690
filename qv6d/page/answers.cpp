#include "page/answers.h"

#include "common/text.h"
#include "explain/happenings.h"
#include "explain/verdict.h"

#include <algorithm>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace qv6d
{

namespace
{

using json = nlohmann::ordered_json;

struct answer
{
    std::string text, more;
};

// What stood in the way, the last gate that was not passed.
enum class obstacle
{
    none,
    switched_off,
    too_short,
    not_moved,
    narrow,
    unbalanced,
    clear_radius,
    disturbed,
    unsettled,
    too_large,
    too_near,
    too_few,
};

json json_of(const answer &a)
{
    return {{"text", a.text}, {"more", a.more.empty() ? json() : json(a.more)}};
}

std::string listed(const std::vector<std::string> &items)
{
    std::string text;
    for (std::size_t k = 0; k < items.size(); ++k)
        text += (k == 0 ? "" : k + 1 == items.size() ? ", and " : ", ") + items[k];
    return text;
}

obstacle obstacle_before_ready(const cycle_counts &counts)
{
    const std::uint64_t narrow = counts.count(buffer_outcome::span_too_small),
                        unbalanced = counts.count(buffer_outcome::unbalanced);
    if (counts.full() == 0)
        return counts.resets() > 0 ? obstacle::disturbed : obstacle::too_short;
    if (narrow > 0 && narrow >= unbalanced)
        return obstacle::narrow;
    return unbalanced > 0 ? obstacle::unbalanced : obstacle::not_moved;
}

obstacle obstacle_of(const findings &found)
{
    const cycle_counts &counts = found.counts;
    if (found.end == calibration_end::switched_off)
        return obstacle::switched_off;
    if (found.end != calibration_end::not_calibrated)
        return obstacle::none;
    if (counts.count(buffer_outcome::validated) > 0)
        return counts.count(reset_cause::clear_radius) > 0 ? obstacle::clear_radius : obstacle::disturbed;
    if (counts.ready() == 0)
        return obstacle_before_ready(counts);
    if (counts.count(buffer_outcome::unstable) > 0)
        return obstacle::unsettled;
    if (counts.count(buffer_outcome::too_large) > 0)
        return obstacle::too_large;
    return counts.count(buffer_outcome::not_fitted) > 0 ? obstacle::too_near : obstacle::too_few;
}

answer calibrated(const findings &found, const page_insights &seen)
{
    const cycle &last = found.counts.last();
    const std::string grade =
        last.grade > QV6D_GRADE_UNRELIABLE ? fmt::format("The last grade, {}, only shows progress.", last.grade) : "";
    switch (found.end)
    {
    case calibration_end::switched_off:
        return {"No: the calibration is switched off.", ""};
    case calibration_end::calibrated:
        return {fmt::format("Yes, since {}.", moment(*found.counts.calibrated_since(), found.source)),
                found.counts.resets() > 0
                    ? fmt::format("It started over {} before that.", counted(found.counts.resets(), "time"))
                    : ""};
    case calibration_end::resumed:
        return {"It kept what an earlier run had learnt, and learnt nothing new.",
                fmt::format("The grade is {}.", last.grade)};
    case calibration_end::not_calibrated:
        break;
    }
    if (found.counts.count(buffer_outcome::validated) > 0 && seen.last_reset)
        return {fmt::format("Not at the end: it found an offset, and threw it away at {}.",
                            moment(seen.last_reset->time, found.source)),
                grade};
    return {"No: it never found an offset that passed its checks.", grade};
}

answer why_not(obstacle in_the_way, const findings &found, const page_insights &seen)
{
    const cycle_counts &counts = found.counts;
    const std::string full = counted(counts.full(), "full buffer");
    switch (in_the_way)
    {
    case obstacle::switched_off:
        return {"The buffer has room for no samples: hcal.rbufsize is 0.", ""};
    case obstacle::too_short:
        return {fmt::format("There were too few samples: {}, and no buffer was ever full.", found.source.cycles), ""};
    case obstacle::not_moved:
        return {fmt::format("The device hardly turned: none of {} was READY.", full),
                fmt::format("In {} the field did not change enough to count as movement.",
                            counts.count(buffer_outcome::not_moved))};
    case obstacle::narrow:
        return {counts.widest() ? fmt::format("It turned too little within each buffer: at best the smallest span was "
                                              "{:.1f} µT, and {:.1f} µT are needed.",
                                              std::ranges::min(counts.widest()->span), counts.widest()->min)
                                : "It turned too little within each buffer: the smallest span was too small.",
                fmt::format("Of {}, {} saw no movement and {} had too small a span.", full,
                            counts.count(buffer_outcome::not_moved), counts.count(buffer_outcome::span_too_small))};
    case obstacle::unbalanced:
        return {"It turned about one axis only: no two spans were alike.", ""};
    case obstacle::clear_radius:
        return {"Right after the first offset, the calibrated field still missed the radius by more than the clear "
                "radius.",
                seen.last_reset && seen.last_reset->distance
                    ? fmt::format("It missed by {:.1f} µT: the smoothed field follows a new offset only after a while.",
                                  *seen.last_reset->distance)
                    : ""};
    case obstacle::disturbed:
        return {"The field jumped or was disturbed, so the calibration started over.",
                seen.last_reset ? fmt::format("Last at {}: {}.", moment(seen.last_reset->time, found.source),
                                              figures_of_reset(*seen.last_reset))
                                : ""};
    case obstacle::unsettled:
        return {"The offset was still changing when it was checked.",
                fmt::format("{} of {} gave a fit that had not settled.", counts.count(buffer_outcome::unstable),
                            counted(counts.ready(), "READY buffer"))};
    case obstacle::too_large:
        return {"The fits gave a field stronger than the earth's: something magnetic was near.", ""};
    case obstacle::too_near:
        return {"The samples of the READY buffers were too near to each other to fit a sphere.", ""};
    case obstacle::too_few:
        return {fmt::format("Only {} of {} READY, and more are needed.", counts.ready(),
                            full + (counts.ready() == 1 ? " was" : " were")),
                "The first one after a start or a reset is always discarded."};
    case obstacle::none:
        break;
    }
    return {fmt::format("{} of {} READY, and the fits agreed.", counts.ready(),
                        full + (counts.ready() == 1 ? " was" : " were")),
            ""};
}

answer what_now(obstacle in_the_way, const findings &found, const page_insights &seen)
{
    if (found.source.grade_trust.verdict == trust_verdict::contradicted)
        return {"Do not rely on the grade where it is contradicted: calibrate again, away from magnets and steel.", ""};
    const std::vector<std::string> &ways = seen.ways_to_missing_sides;
    const std::string missing = ways.empty() ? "" : fmt::format("Not done yet: {}.", listed(ways));
    switch (in_the_way)
    {
    case obstacle::none:
        return {"Nothing.", ways.empty() ? "" : fmt::format("To test the offset everywhere, also {}.", listed(ways))};
    case obstacle::switched_off:
        return {"Set hcal.rbufsize to a number of samples, 25 for example.", ""};
    case obstacle::too_short:
        return {"Record for longer, and keep turning the device.", missing};
    case obstacle::too_few:
        return {"Turn it about all three axes, faster and for longer.", missing};
    case obstacle::not_moved:
    case obstacle::unbalanced:
        return {"Turn the device about all three axes, as fast as a hand waves.", missing};
    case obstacle::narrow:
    case obstacle::too_near:
        return {found.advice.tried > 0
                    ? fmt::format("Turn it faster and about all three axes: none of {} other rates and settings helps.",
                                  found.advice.tried)
                    : "Turn it faster and about all three axes, or feed the library more slowly.",
                missing};
    case obstacle::clear_radius:
        return {"Keep turning: the check comes only once after a start, and the next offset will stay.", missing};
    case obstacle::disturbed:
    case obstacle::too_large:
        return {"Move away from magnets, steel and loudspeakers, then turn it again.", missing};
    case obstacle::unsettled:
        return {"Keep turning; if the sensor is noisy, raise hcal.rlsm.stdev.", missing};
    }
    return {};
}

} // namespace

json answers(const findings &found, const page_insights &seen)
{
    const obstacle in_the_way = obstacle_of(found);
    const bool stands = found.end == calibration_end::calibrated || found.end == calibration_end::resumed;
    json first = json_of(calibrated(found, seen)), why = json_of(why_not(in_the_way, found, seen));
    first["state"] = stands ? "yes" : "no";
    why["question"] = stands ? "What did it take?" : "Why not?";
    return {{"calibrated", first}, {"why", why}, {"now", json_of(what_now(in_the_way, found, seen))}};
}

} // namespace qv6d
