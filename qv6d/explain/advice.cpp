#include "explain/advice.h"

#include "common/bytes.h"
#include "common/processes.h"
#include "files/customer_overlay.h"
#include "library/state_dir.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <thread>

namespace qv6d
{

namespace fs = std::filesystem;

namespace
{

constexpr std::uint64_t SAMPLES_MIN = 50; // two buffers: a shorter recording has nothing to leave out

const std::pair<std::string, double> LARGE_BUFFER = {"hcal.rbufsize", 40.0},
                                     WIDE_SPAN = {"hcal.motion.sendiffmin", 25.0},
                                     SMALL_SPAN = {"hcal.motion.sendiffmin", 10.0},
                                     SMALLER_SPAN = {"hcal.motion.sendiffmin", 7.5};

// The gentlest first: what costs less accuracy is preferred.
const std::vector<remedy> TO_CALIBRATE = {
    {"fewer_samples", 2, {}},
    {"fewer_samples", 3, {}},
    {"fewer_samples", 4, {}},
    {"fewer_samples", 5, {}},
    {"fewer_samples", 10, {}},
    {"larger_buffer", 1, {LARGE_BUFFER}},
    {"larger_buffer", 2, {LARGE_BUFFER}},
    {"smaller_span", 1, {SMALL_SPAN}},
    {"smaller_span", 2, {SMALL_SPAN}},
    {"smaller_span", 1, {SMALL_SPAN, LARGE_BUFFER}},
    {"smaller_span", 2, {SMALL_SPAN, LARGE_BUFFER}},
    {"smaller_span", 1, {SMALLER_SPAN}},
    {"smaller_span", 2, {SMALLER_SPAN}},
    {"smaller_span", 5, {SMALLER_SPAN}},
};

const std::vector<std::pair<std::string, double>> STRICT = {
    {"hcal.incmask", 4.0}, {"hcal.accuracy[0]", 20.0}, {"hcal.accuracy[1]", 10.0}, {"hcal.accuracy[2]", 6.0}};

std::vector<std::pair<std::string, double>> strict_and(const std::pair<std::string, double> &key)
{
    auto keys = STRICT;
    keys.push_back(key);
    return keys;
}

const std::vector<remedy> TO_BE_RIGHT = {
    {"strict_grades", 1, STRICT},
    {"fewer_samples", 2, {}},
    {"fewer_samples", 4, {}},
    {"wider_span", 1, {WIDE_SPAN}},
    {"strict_grades", 2, STRICT},
    {"wider_span", 2, {WIDE_SPAN}},
    {"strict_grades", 1, strict_and(WIDE_SPAN)},
    {"strict_grades", 2, strict_and(WIDE_SPAN)},
};

// In a process of its own.
attempt replayed(replay_settings settings, const remedy &how, const customer_overlay &base, const fs::path &folder)
{
    make_state_dir(folder, base.with(how.keys));
    settings.config.clear();
    settings.folder = folder.string();
    settings.every *= how.every;
    settings.quiet = true;
    cycle_counts counts;
    attempt result = {};
    cycle_hearing hearing;
    hearing.on_cycle = [&](const cycle &c)
    {
        counts.add(c);
        if (c.grade == QV6D_GRADE_BEST && !result.grade3)
            result.grade3 = c.time;
    };
    const cycle_source source = read_cycles(settings, 0.0, hearing);
    result.calibrated = counts.calibrated_since().has_value();
    result.since = counts.calibrated_since().value_or(std::nan(""));
    result.trust = source.grade_trust.verdict;
    result.graded = source.grade_trust.graded;
    result.wrong = source.grade_trust.wrong;
    return result;
}

std::vector<attempt> replay_all(const replay_settings &settings, const std::vector<remedy> &remedies)
{
    const state_dir scratch("");
    const customer_overlay base = customer_overlay(settings.config);
    std::vector<attempt> attempts(remedies.size());
    process_work work;
    work.run = [&](std::size_t i)
    { return bytes_of(replayed(settings, remedies[i], base, scratch.path() / std::to_string(i))); };
    work.name = [&](std::size_t i) { return fmt::format("{} with remedy {}", settings.recording, i + 1); };
    work.take = [&](std::size_t i, const std::string &bytes) { attempts[i] = from_bytes<attempt>(bytes); };
    run_in_processes(remedies.size(), std::max(1u, std::thread::hardware_concurrency()), work);
    return attempts;
}

bool sooner(const attempt &a, const attempt &b)
{
    return a.grade3.value_or(HUGE_VAL) < b.grade3.value_or(HUGE_VAL);
}

// Of the gentlest kind whose grade held, or could not be judged, the soonest.
std::optional<std::size_t> best_calibrated(const std::vector<remedy> &remedies, const std::vector<attempt> &attempts)
{
    for (const trust_verdict wanted : {trust_verdict::held, trust_verdict::unjudged})
    {
        std::optional<std::size_t> best;
        for (std::size_t i = 0; i < attempts.size(); ++i)
        {
            const attempt &a = attempts[i];
            const bool same_kind = !best || std::string_view(remedies[i].code) == remedies[*best].code;
            if (a.calibrated && a.grade3 && a.trust == wanted && same_kind && (!best || sooner(a, attempts[*best])))
                best = i;
        }
        if (best)
            return best;
    }
    return std::nullopt;
}

// The first one that leaves at most half of the wrong time, and at least half of the right one.
std::optional<std::size_t> first_right(const std::vector<attempt> &attempts, const trust &now)
{
    for (const double share : {0.1, 0.5})
        for (std::size_t i = 0; i < attempts.size(); ++i)
            if (attempts[i].wrong <= share * now.wrong &&
                attempts[i].graded - attempts[i].wrong >= 0.5 * (now.graded - now.wrong) && attempts[i].graded > 0.0)
                return i;
    return std::nullopt;
}

std::string settings_words(const advice &a)
{
    std::string out;
    if (a.what.every > 1)
        out = fmt::format("--every {}", a.every);
    for (const auto &[key, value] : a.what.keys)
        out += fmt::format("{}{} = {}", out.empty() ? "" : ", ", key, value);
    return out;
}

} // namespace

advice_found try_remedies(const cycle_counts &counts, const cycle_source &source, const replay_settings &settings)
{
    advice_found found;
    const bool wrong = source.grade_trust.verdict == trust_verdict::contradicted;
    const bool missing = !counts.calibrated_since() && counts.count(buffer_outcome::disabled) < source.cycles;
    if (!source.recording || settings.recording == "-" || source.cycles < SAMPLES_MIN || (!wrong && !missing))
        return found;
    const std::vector<remedy> &remedies = wrong ? TO_BE_RIGHT : TO_CALIBRATE;
    const std::vector<attempt> attempts = replay_all(settings, remedies);
    found.tried = attempts.size();
    const auto best = wrong ? first_right(attempts, source.grade_trust) : best_calibrated(remedies, attempts);
    if (best)
        found.best = {remedies[*best], attempts[*best], settings.every * remedies[*best].every};
    return found;
}

std::string words(const advice &a)
{
    const std::string settings = settings_words(a);
    if (a.what.code == std::string_view("strict_grades") || a.tried.trust == trust_verdict::contradicted)
        return fmt::format("With {} grade 3 is wrong for {:.1f} of {:.1f} s in this recording.", settings,
                           a.tried.wrong, a.tried.graded);
    const char *trust = a.tried.trust == trust_verdict::held ? "it held" : "it could not be judged";
    return fmt::format("With {} this recording calibrates: grade 3 after {:.1f} s, and {}.", settings, *a.tried.grade3,
                       trust);
}

nlohmann::ordered_json json_of(const advice &a)
{
    nlohmann::ordered_json keys = nlohmann::ordered_json::object();
    for (const auto &[key, value] : a.what.keys)
        keys[key] = value;
    return {{"code", a.what.code},
            {"text", words(a)},
            {"tried",
             {{"every", a.every},
              {"keys", keys},
              {"calibrates_s", a.tried.grade3 ? nlohmann::ordered_json(*a.tried.grade3) : nullptr},
              {"graded_s", a.tried.graded},
              {"wrong_s", a.tried.wrong}}}};
}

} // namespace qv6d
