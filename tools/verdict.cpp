#include "verdict.h"

#include "processes.h"

#include <algorithm>
#include <fmt/format.h>
#include <thread>

namespace qv6d
{

namespace
{

constexpr int TRIED_DECIMATIONS[] = {2, 3, 5, 10};

std::string buffers(std::uint64_t n)
{
    return fmt::format("{} buffer{}", n, n == 1 ? "" : "s");
}

double smallest(const vec3 &v)
{
    return std::min({v[0], v[1], v[2]});
}

// READY buffers that the same recording would give with every Nth mag event.
std::uint64_t ready_at(replay_settings settings, int every)
{
    settings.every *= static_cast<std::uint64_t>(every);
    settings.state.clear(); // what is kept there was learnt at the rate asked for
    settings.quiet = true;
    tally counts;
    read_cycles(settings, 0.0, [&counts](const cycle &c) { counts.add(c); });
    return counts.ready();
}

std::string slower_magnetometer(const tally &counts, const replay_settings &settings)
{
    std::array<std::uint64_t, std::size(TRIED_DECIMATIONS)> ready = {};
    process_work work;
    work.run = [&](std::size_t k) { return std::to_string(ready_at(settings, TRIED_DECIMATIONS[k])); };
    work.name = [&](std::size_t k) { return fmt::format("every {}th sample", TRIED_DECIMATIONS[k]); };
    work.take = [&](std::size_t k, const std::string &result) { ready[k] = std::stoull(result); };
    run_in_processes(ready.size(), std::max(1u, std::thread::hardware_concurrency()), work);

    std::uint64_t best = counts.ready(), best_every = 1;
    for (std::size_t k = 0; k < ready.size(); ++k)
        if (ready[k] > best)
        {
            best = ready[k];
            best_every = static_cast<std::uint64_t>(TRIED_DECIMATIONS[k]);
        }
    if (best_every == 1)
        return "A slower magnetometer would not have helped: no thinning of this recording gives more READY buffers.";
    return fmt::format("With --every {}, {} would have been READY instead of {}.", best_every * settings.every,
                       buffers(best), counts.ready());
}

std::string why_not_ready(const tally &counts)
{
    const std::uint64_t still = counts.count(buffer_outcome::not_moved),
                        narrow = counts.count(buffer_outcome::span_too_small),
                        unbalanced = counts.count(buffer_outcome::unbalanced);
    if (counts.full() == 0)
        return "No buffer was ever full: the recording is shorter than a buffer, or noise emptied it each time.";
    const std::string moved =
        fmt::format("The device was seen moving in {} of {}", counts.full() - still, buffers(counts.full()));
    if (narrow > 0 && narrow >= unbalanced && counts.widest())
        return fmt::format(
            "{}, and {} did not span {:.1f} µT on every axis (the best one spanned {:.1f} µT on its worst): "
            "turn the device faster and about all axes, fill the buffer more slowly (a lower rate or a "
            "larger hcal.rbufsize), or lower hcal.motion.sendiffmin.",
            moved, narrow, counts.widest()->min, smallest(counts.widest()->span));
    if (unbalanced > 0)
        return fmt::format(
            "{}, and in {} no two axes spanned about the same (hcal.motion.senrate): turn the device about "
            "more than one axis.",
            moved, unbalanced);
    return fmt::format("{}: every axis has to scatter by hcal.motion.stdevmin for several samples in a row.", moved);
}

std::string why_not_accepted(const tally &counts)
{
    if (counts.count(buffer_outcome::unstable) > 0)
        return fmt::format("{} fit(s) were refused because the estimate had not settled: keep turning, or raise "
                           "hcal.rlsm.stdev if the magnetometer is noisier than that.",
                           counts.count(buffer_outcome::unstable));
    if (counts.count(buffer_outcome::too_large) > 0)
        return fmt::format("{} fit(s) gave a radius above 70 µT: the field is disturbed.",
                           counts.count(buffer_outcome::too_large));
    if (counts.count(buffer_outcome::not_fitted) > 0)
        return fmt::format("{} READY buffer(s) held too few samples 3 µT apart to be fitted.",
                           counts.count(buffer_outcome::not_fitted));
    return fmt::format("Only {} READY, {} of them discarded after a reset: more are needed.", buffers(counts.ready()),
                       counts.count(buffer_outcome::discarded));
}

std::uint64_t resets(const tally &counts)
{
    return counts.count(reset_cause::scatter) + counts.count(reset_cause::span) + counts.count(reset_cause::grade) +
           counts.count(reset_cause::clear_radius);
}

} // namespace

void tally::add(const cycle &c)
{
    ++outcomes_[static_cast<std::size_t>(c.outcome)];
    ++resets_[static_cast<std::size_t>(c.reset)];
    if (c.spans && (!widest_ || smallest(c.spans->span) > smallest(widest_->span)))
        widest_ = c.spans;
    if (c.outcome == buffer_outcome::validated && !calibrated_since_)
        calibrated_since_ = c.time;
    if (c.reset != reset_cause::none)
        calibrated_since_.reset();
    last_ = c;
}

std::uint64_t tally::full() const
{
    std::uint64_t sum = 0;
    for (std::size_t k = static_cast<std::size_t>(buffer_outcome::not_moved); k < BUFFER_OUTCOMES; ++k)
        sum += outcomes_[k];
    return sum;
}

std::uint64_t tally::ready() const
{
    std::uint64_t sum = 0;
    for (std::size_t k = static_cast<std::size_t>(buffer_outcome::discarded);
         k <= static_cast<std::size_t>(buffer_outcome::validated); ++k)
        sum += outcomes_[k];
    return sum;
}

std::string tally::text(const cycle_source &source) const
{
    std::string out = fmt::format("{} samples, {} full buffers, {} of them READY\n", source.cycles, full(), ready());
    for (std::size_t k = static_cast<std::size_t>(buffer_outcome::disabled); k < BUFFER_OUTCOMES; ++k)
        if (outcomes_[k] > 0)
            out += fmt::format("{:>8}  {}\n", outcomes_[k], words(static_cast<buffer_outcome>(k)));
    for (std::size_t k = 1; k < resets_.size(); ++k)
        if (resets_[k] > 0)
            out += fmt::format("{:>8}  {}\n", resets_[k], words(static_cast<reset_cause>(k)));
    if (!source.recording)
        out += fmt::format("{} lines of other programs skipped, {} cut lines\n", source.foreign, source.cut);
    return out;
}

nlohmann::ordered_json tally::json(const cycle_source &source) const
{
    nlohmann::ordered_json outcomes, resets;
    for (std::size_t k = 0; k < BUFFER_OUTCOMES; ++k)
        outcomes[name(static_cast<buffer_outcome>(k))] = outcomes_[k];
    for (std::size_t k = 1; k < resets_.size(); ++k)
        resets[name(static_cast<reset_cause>(k))] = resets_[k];
    return {{"samples", source.cycles}, {"full_buffers", full()},
            {"ready_buffers", ready()}, {"outcomes", outcomes},
            {"resets", resets},         {"last_grade", last_.grade},
            {"starts", source.starts},  {"foreign_lines", source.foreign},
            {"cut_lines", source.cut}};
}

std::string moment(double time, const cycle_source &source)
{
    return source.timed ? fmt::format("{:.1f} s", time) : fmt::format("sample {:.0f}", time);
}

std::vector<std::string> verdict(const tally &counts, const cycle_source &source, const replay_settings &settings)
{
    const cycle &last = counts.last();
    std::vector<std::string> sentences;
    if (source.cycles > 0 && counts.count(buffer_outcome::disabled) == source.cycles)
        return {"The calibration is switched off: hcal.rbufsize is 0."};
    if (counts.calibrated_since())
        sentences.push_back(fmt::format("Calibrated since {}: offset {:.1f}, {:.1f}, {:.1f} µT, radius {:.1f} µT.",
                                        moment(*counts.calibrated_since(), source), last.offset[0], last.offset[1],
                                        last.offset[2], last.radius));
    else if (source.resumes > 0 && last.grade > 0)
        sentences.push_back(fmt::format("Not calibrated anew, but resumed: grade {}.", last.grade));
    else
    {
        if (counts.count(buffer_outcome::validated) > 0 && counts.count(reset_cause::clear_radius) > 0)
            sentences.emplace_back(
                "An offset was validated, and thrown away at once because the calibrated field missed "
                "the radius by more than hcal.clearradius.");
        sentences.push_back(fmt::format("Not calibrated; the last grade is {}.", last.grade));
        sentences.push_back(counts.ready() == 0 ? why_not_ready(counts) : why_not_accepted(counts));
        const int most = *std::max_element(std::begin(TRIED_DECIMATIONS), std::end(TRIED_DECIMATIONS));
        if (source.recording && settings.recording != "-" && source.cycles >= static_cast<std::uint64_t>(most))
            sentences.push_back(slower_magnetometer(counts, settings));
    }
    if (resets(counts) > 0)
        sentences.push_back(
            fmt::format("It started over {}.", resets(counts) == 1 ? "once" : fmt::format("{} times", resets(counts))));
    return sentences;
}

} // namespace qv6d
