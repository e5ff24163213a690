// qv6d explain: what the calibration did with every buffer, and why, as text.

#include "commands.h"
#include "cycle_source.h"
#include "error.h"
#include "output.h"
#include "verdict.h"

#include <fmt/format.h>
#include <memory>
#include <nlohmann/json.hpp>

namespace qv6d
{

namespace
{

struct options
{
    replay_settings settings;
    double log_rate = 0.0;
    bool counts_only = false;
    bool json = false;
};

std::string show(const vec3 &v)
{
    return fmt::format("{:.1f}, {:.1f}, {:.1f}", v[0], v[1], v[2]);
}

// The figures behind an outcome.
std::string figures(const cycle &c)
{
    const fit_figures &fit = c.fit;
    std::string text;
    switch (c.outcome)
    {
    case buffer_outcome::span_too_small:
        return c.spans ? fmt::format("spans {} µT, at least {:.1f} needed", show(c.spans->span), c.spans->min) : "";
    case buffer_outcome::noise:
        return c.spans ? fmt::format("spans {} µT, at most {:.1f} allowed", show(c.spans->span), c.spans->max) : "";
    case buffer_outcome::unbalanced:
        return c.spans
                   ? fmt::format("ratios y/z {:.2f}, x/z {:.2f}, x/y {:.2f}, one within {:.2f} to {:.2f} needed",
                                 c.spans->ratio[0], c.spans->ratio[1], c.spans->ratio[2], c.spans->low, c.spans->high)
                   : "";
    case buffer_outcome::not_moved:
        return fmt::format("scatter of the last samples {} µT", show(c.scatter));
    case buffer_outcome::unstable:
    case buffer_outcome::too_large:
    case buffer_outcome::accepted:
    case buffer_outcome::validated:
        text = fmt::format("offset {} µT, radius {:.1f} µT", show(*fit.offset), *fit.radius);
        if (fit.samples)
            text += fmt::format(", {} samples", *fit.samples);
        if (fit.scatter)
            text += fmt::format(", scatter {:.1f} (limit {:.1f}), band {:.1f} (limit {:.1f}) µT", *fit.scatter,
                                *fit.scatter_limit, *fit.band, *fit.band_limit);
        else if (c.outcome == buffer_outcome::unstable)
            text += ", not enough results to judge";
        return text;
    default:
        return "";
    }
}

std::string figures_of_reset(const cycle &c)
{
    switch (c.reset)
    {
    case reset_cause::scatter:
        return fmt::format("scatter {} µT", show(c.scatter));
    case reset_cause::span:
        return c.spans ? fmt::format("spans {} µT", show(c.spans->span)) : "";
    case reset_cause::grade:
    case reset_cause::clear_radius:
        return c.distance ? fmt::format("field norm {:.1f} µT away from the radius of {:.1f} µT", *c.distance, c.radius)
                          : "";
    case reset_cause::none:
        break;
    }
    return "";
}

std::string with_figures(const char *words, const std::string &figures)
{
    return figures.empty() ? words : fmt::format("{}: {}", words, figures);
}

// One line for each thing that happened in a cycle; times are only known at the end to be seconds or numbers.
std::vector<std::string> happenings(const cycle &c, int previous_grade)
{
    std::vector<std::string> lines;
    if (c.outcome != buffer_outcome::filling && c.outcome != buffer_outcome::disabled &&
        c.outcome != buffer_outcome::noise)
        lines.push_back(with_figures(words(c.outcome), figures(c)));
    if (c.reset != reset_cause::none)
        lines.push_back(with_figures(words(c.reset), figures_of_reset(c)));
    if (c.grade != previous_grade)
        lines.push_back(fmt::format("grade {} -> {}", previous_grade, c.grade));
    return lines;
}

nlohmann::ordered_json json_line(const cycle &c)
{
    nlohmann::ordered_json line = {
        {"cycle", c.number}, {"t", c.time}, {"outcome", name(c.outcome)}, {"reset", name(c.reset)}, {"grade", c.grade}};
    const std::string why = c.reset != reset_cause::none ? figures_of_reset(c) : figures(c);
    if (!why.empty())
        line["figures"] = why;
    if (c.spans)
        line["span_ut"] = c.spans->span;
    if (c.fit.offset)
        line["estimate"] = {{"offset_ut", *c.fit.offset}, {"radius_ut", *c.fit.radius}};
    return line;
}

void run(const options &given)
{
    output out("-");
    tally counts;
    int grade = 0;
    const bool lines = !given.counts_only;
    const auto on_cycle = [&](const cycle &c)
    {
        const auto said = happenings(c, grade);
        counts.add(c);
        grade = c.grade;
        for (const std::string &line : said)
        {
            if (given.json || !lines)
                break;
            out.print("{:>10} {}\n", fmt::format("{:.3f}", c.time), line);
        }
        if (given.json && lines && !said.empty())
            out.print("{}\n", json_line(c).dump());
    };
    const cycle_source source = read_cycles(given.settings, given.log_rate, on_cycle);
    if (given.json)
        out.print("{}\n", counts.json(source).dump());
    else
    {
        if (lines)
            out.print("\n");
        out.print("{}", counts.text(source));
        for (const std::string &sentence : verdict(counts, source, given.settings))
            out.print("{}\n", sentence);
    }
    out.finish();
}

constexpr const char *FOOTER =
    "Takes a recording (replayed here) or a device's log as text, in the platform's brief, time, threadtime or plain\n"
    "format, with the library's debug lines in it (hcal.endbg = 1, and hcal.motion.endbg = hcal.rlsm.endbg = 1 for "
    "the\n"
    "figures). Lines of other programs are skipped. Times are seconds from the first event; of a log without time "
    "stamps\n"
    "they are sample numbers, or seconds with --log-rate.\n\n"
    "Examples:\n"
    "  qv6d explain phone.csv              every buffer's fate, every reset, every change of grade\n"
    "  qv6d explain phone.csv --counts     how many of each, and what to do about it\n"
    "  qv6d explain device.log             the same from a log that a user sent\n";

} // namespace

void add_explain(CLI::App *app, int *)
{
    const auto given = std::make_shared<options>();
    CLI::App *command = app->add_subcommand("explain", "Say why the calibration did what it did");
    command->footer(with_exit_codes(FOOTER));
    add_replay_settings(command, &given->settings);
    command->add_option("--log-rate", given->log_rate, "Samples per second of a log without time stamps")
        ->check(CLI::PositiveNumber);
    command->add_flag("--counts", given->counts_only, "Only the counts");
    command->add_flag("--json", given->json, "One JSON object per happening, the counts last");
    command->callback([given] { run(*given); });
}

} // namespace qv6d
