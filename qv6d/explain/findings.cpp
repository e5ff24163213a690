#include "explain/findings.h"

#include "common/processes.h"
#include "library/state_dir.h"

#include <algorithm>
#include <fmt/format.h>
#include <thread>

namespace qv6d
{

namespace
{

constexpr std::uint64_t TRIED[] = {2, 3, 5, 10}; // every Nth of the mag events used

calibration_end end_of(const cycle_counts &counts, const cycle_source &source)
{
    if (source.cycles > 0 && counts.count(buffer_outcome::disabled) == source.cycles)
        return calibration_end::switched_off;
    if (counts.calibrated_since())
        return calibration_end::calibrated;
    return source.resumes > 0 && counts.last().grade > QV6D_GRADE_UNRELIABLE ? calibration_end::resumed
                                                                             : calibration_end::not_calibrated;
}

// Standard input is read once, and a short recording has too few events to leave any out.
bool can_be_thinned(const cycle_source &source, const replay_settings &settings)
{
    return source.recording && settings.recording != "-" && source.cycles >= std::ranges::max(TRIED);
}

// The replay starts from nothing stored: that was learnt at the rate asked for.
std::uint64_t ready_buffers(replay_settings settings, std::uint64_t every, const state_dir &scratch)
{
    settings.every = every;
    settings.state = (scratch.path() / std::to_string(every)).string();
    settings.quiet = true;
    cycle_counts counts;
    read_cycles(settings, 0.0, [&counts](const cycle &c) { counts.add(c); });
    return counts.ready();
}

std::vector<thinned_replay> replay_thinned(const replay_settings &settings)
{
    std::vector<thinned_replay> replays;
    for (const std::uint64_t n : TRIED)
        replays.push_back({settings.every * n, 0});
    const state_dir scratch("");
    process_work work;
    work.run = [&](std::size_t k) { return std::to_string(ready_buffers(settings, replays[k].every, scratch)); };
    work.name = [](std::size_t k) { return fmt::format("every {}th sample", TRIED[k]); };
    work.take = [&](std::size_t k, const std::string &result) { replays[k].ready = std::stoull(result); };
    run_in_processes(replays.size(), std::max(1u, std::thread::hardware_concurrency()), work);
    return replays;
}

} // namespace

findings find_by_replaying(const cycle_counts &counts, const cycle_source &source, const replay_settings &settings)
{
    findings found = {source, counts, end_of(counts, source), {}};
    if (found.end == calibration_end::not_calibrated && can_be_thinned(source, settings))
        found.thinned = replay_thinned(settings);
    return found;
}

} // namespace qv6d
