#include "report.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace soak
{

namespace
{

double percent(std::uint64_t part, std::uint64_t whole)
{
    return whole == 0 ? 0.0 : 100.0 * static_cast<double>(part) / static_cast<double>(whole);
}

nlohmann::ordered_json json_of(const histogram &h)
{
    return {{"count", h.count()}, {"median", h.quantile(0.5)}, {"of_99_percent", h.quantile(0.99)}, {"max", h.max()}};
}

} // namespace

std::string text(const outcome &done)
{
    const findings &f = done.found;
    std::string out =
        fmt::format("{:g} h at {} Hz, seed {}: {} samples in {:.1f} s, {:.0f} samples/s\n", done.hours, RATE, done.seed,
                    f.samples, done.seconds, static_cast<double>(f.samples) / done.seconds);
    out += fmt::format("  service    {} starts, {} resets of the calibration\n  time      ", done.starts, done.resets);
    for (std::size_t i = 0; i < f.doing.size(); ++i)
        out += fmt::format(" {} {:.1f} %", ACTIVITIES[i], percent(f.doing[i], f.samples));
    out += "\n  grade     ";
    for (std::size_t i = 0; i < f.grades.size(); ++i)
        out += fmt::format(" {} {:.1f} %", i, percent(f.grades[i], f.samples));

    out += "\n\n                         at grade 3: error of the offset, µT\n";
    out += "  offset        samples      share   median     99 %      max\n";
    for (std::size_t i = 0; i < f.rows.size(); ++i)
    {
        const histogram &error = f.rows[i].error;
        out += fmt::format("  {:10} {:10} {:8.1f} % {:8.2f} {:8.2f} {:8.2f}\n", STANDINGS[i], f.rows[i].samples,
                           percent(error.count(), f.rows[i].samples), error.quantile(0.5), error.quantile(0.99),
                           error.max());
    }
    out +=
        fmt::format("\n  {} steps of the offset: grade 3 with the old one for {:.0f} s (median), {:.0f} s (longest)\n",
                    f.wrong_seconds.count(), f.wrong_seconds.quantile(0.5), f.wrong_seconds.max());
    out += fmt::format("  {} times settled: right for good after waving for {:.0f} s (median), {:.0f} s (longest)\n\n",
                       f.waved_seconds.count(), f.waved_seconds.quantile(0.5), f.waved_seconds.max());
    for (const check &c : done.checks)
        out += fmt::format("  {:6} {:44} {:10.7g}  {} {:g}\n", c.passed() ? "ok" : "FAILED", c.what, c.measured,
                           c.at_most ? "at most " : "at least", c.bound);
    return out;
}

std::string json(const outcome &done)
{
    const findings &f = done.found;
    nlohmann::ordered_json out = {
        {"hours", done.hours},     {"seed", done.seed},     {"samples", f.samples},
        {"seconds", done.seconds}, {"starts", done.starts}, {"resets", done.resets},
    };
    for (std::size_t i = 0; i < f.doing.size(); ++i)
        out["time_percent"][ACTIVITIES[i]] = percent(f.doing[i], f.samples);
    for (const std::uint64_t n : f.grades)
        out["grade_percent"].push_back(percent(n, f.samples));
    for (std::size_t i = 0; i < f.rows.size(); ++i)
        out["offset"][STANDINGS[i]] = {{"samples", f.rows[i].samples}, {"grade_3_error_ut", json_of(f.rows[i].error)}};
    out["grade_3_with_old_offset_s"] = json_of(f.wrong_seconds);
    out["waved_until_right_s"] = json_of(f.waved_seconds);
    for (const check &c : done.checks)
        out["checks"].push_back({{"what", c.what},
                                 {"measured", c.measured},
                                 {c.at_most ? "at_most" : "at_least", c.bound},
                                 {"passed", c.passed()}});
    return out.dump(2) + "\n";
}

} // namespace soak
