#include "explain/verdict.h"

#include "common/text.h"
#include "trust/words.h"

#include <algorithm>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace qv6d
{

namespace
{

std::string why_not_ready(const cycle_counts &counts)
{
    const std::uint64_t still = counts.count(buffer_outcome::not_moved),
                        narrow = counts.count(buffer_outcome::span_too_small),
                        unbalanced = counts.count(buffer_outcome::unbalanced);
    if (counts.full() == 0)
        return "No buffer was ever full: the recording is shorter than a buffer, or noise emptied it each time.";
    const std::string moved =
        fmt::format("The device was seen moving in {} of {}", counts.full() - still, counted(counts.full(), "buffer"));
    if (narrow > 0 && narrow >= unbalanced && counts.widest())
        return fmt::format(
            "{}, and {} did not span {:.1f} µT on every axis (the best one spanned {:.1f} µT on its worst): "
            "turn the device faster and about all axes.",
            moved, narrow, counts.widest()->min, std::ranges::min(counts.widest()->span));
    if (unbalanced > 0)
        return fmt::format(
            "{}, and in {} no two axes spanned about the same (hcal.motion.senrate): turn the device about "
            "more than one axis.",
            moved, unbalanced);
    return fmt::format("{}: every axis has to scatter by hcal.motion.stdevmin for several samples in a row.", moved);
}

std::string why_not_accepted(const cycle_counts &counts)
{
    if (counts.count(buffer_outcome::unstable) > 0)
        return fmt::format("{} fit(s) were refused because the estimate had not settled: keep turning.",
                           counts.count(buffer_outcome::unstable));
    if (counts.count(buffer_outcome::too_large) > 0)
        return fmt::format("{} fit(s) gave a radius above 70 µT: the field is disturbed.",
                           counts.count(buffer_outcome::too_large));
    if (counts.count(buffer_outcome::not_fitted) > 0)
        return fmt::format("{} READY buffer(s) held too few samples 3 µT apart to be fitted.",
                           counts.count(buffer_outcome::not_fitted));
    return fmt::format("Only {} READY, {} of them discarded as the first after a start or a reset: more are needed.",
                       counted(counts.ready(), "buffer"), counts.count(buffer_outcome::discarded));
}

std::vector<std::string> why_not_calibrated(const findings &found)
{
    const cycle_counts &counts = found.counts;
    std::vector<std::string> sentences;
    if (counts.count(buffer_outcome::validated) > 0 && counts.count(reset_cause::clear_radius) > 0)
        sentences.emplace_back("An offset was validated, and thrown away at once because the calibrated field missed "
                               "the radius by more than hcal.clearradius.");
    sentences.push_back(fmt::format("Not calibrated; the last grade is {}.", counts.last().grade));
    sentences.push_back(counts.ready() == 0 ? why_not_ready(counts) : why_not_accepted(counts));
    return sentences;
}

std::vector<std::string> how_it_ended(const findings &found)
{
    const cycle &last = found.counts.last();
    switch (found.end)
    {
    case calibration_end::switched_off:
        return {"The calibration is switched off: hcal.rbufsize is 0."};
    case calibration_end::calibrated:
        return {fmt::format("{}: offset {:.1f}, {:.1f}, {:.1f} µT, radius {:.1f} µT.", headline(found), last.offset[0],
                            last.offset[1], last.offset[2], last.radius)};
    case calibration_end::resumed:
        return {fmt::format("Not calibrated again, but resumed: grade {}.", last.grade)};
    case calibration_end::not_calibrated:
        break;
    }
    return why_not_calibrated(found);
}

} // namespace

std::vector<occurrence> occurrences(const cycle_counts &counts)
{
    std::vector<occurrence> all;
    for (std::size_t k = static_cast<std::size_t>(buffer_outcome::disabled); k < BUFFER_OUTCOMES; ++k)
        all.push_back({words(static_cast<buffer_outcome>(k)), counts.count(static_cast<buffer_outcome>(k))});
    for (std::size_t k = 1; k < RESET_CAUSES; ++k)
        all.push_back({words(static_cast<reset_cause>(k)), counts.count(static_cast<reset_cause>(k))});
    std::erase_if(all, [](const occurrence &o) { return o.count == 0; });
    return all;
}

std::string counts_text(const cycle_counts &counts, const cycle_source &source)
{
    std::string out =
        fmt::format("{} samples, {} full buffers, {} of them READY\n", source.cycles, counts.full(), counts.ready());
    for (const auto &[what, count] : occurrences(counts))
        out += fmt::format("{:>8}  {}\n", count, what);
    if (!source.recording)
        out += fmt::format("{} lines of other programs skipped, {} cut lines\n", source.foreign, source.cut);
    return out;
}

nlohmann::ordered_json counts_json(const cycle_counts &counts, const cycle_source &source)
{
    nlohmann::ordered_json outcomes, resets;
    for (std::size_t k = 0; k < BUFFER_OUTCOMES; ++k)
        outcomes[name(static_cast<buffer_outcome>(k))] = counts.count(static_cast<buffer_outcome>(k));
    for (std::size_t k = 1; k < RESET_CAUSES; ++k)
        resets[name(static_cast<reset_cause>(k))] = counts.count(static_cast<reset_cause>(k));
    return {{"samples", source.cycles},
            {"full_buffers", counts.full()},
            {"ready_buffers", counts.ready()},
            {"outcomes", outcomes},
            {"resets", resets},
            {"last_grade", counts.last().grade},
            {"starts", source.starts},
            {"foreign_lines", source.foreign},
            {"cut_lines", source.cut}};
}

nlohmann::ordered_json advice_json(const findings &found)
{
    auto list = nlohmann::ordered_json::array();
    if (found.advice.best)
        list.push_back(json_of(*found.advice.best));
    return list;
}

std::string moment(double time, const cycle_source &source)
{
    return source.timed ? fmt::format("{:.1f} s", time) : fmt::format("sample {:.0f}", time);
}

std::string headline(const findings &found)
{
    const std::optional<double> &since = found.counts.calibrated_since();
    return since ? "Calibrated since " + moment(*since, found.source) : "Not calibrated";
}

std::vector<std::string> verdict(const findings &found)
{
    std::vector<std::string> sentences = how_it_ended(found);
    const std::uint64_t resets = found.counts.resets();
    if (resets > 0 && found.end != calibration_end::switched_off)
        sentences.push_back(fmt::format("It started over {}.", resets == 1 ? "once" : fmt::format("{} times", resets)));
    sentences.push_back(words(found.source.grade_trust));
    if (found.advice.best)
        sentences.push_back(words(*found.advice.best));
    else if (found.advice.tried > 0)
        sentences.push_back(
            fmt::format("None of {} other rates and settings that were tried on this recording is better: "
                        "turn the device more, about all axes.",
                        found.advice.tried));
    return sentences;
}

} // namespace qv6d
