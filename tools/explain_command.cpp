// qv6d explain: what the calibration did with every buffer, and why, as text.

#include "commands.h"
#include "cycle_source.h"
#include "happenings.h"
#include "output.h"
#include "report_file.h"
#include "verdict.h"

#include <fmt/format.h>
#include <memory>
#include <nlohmann/json.hpp>

namespace qv6d
{

namespace
{

struct explain_arguments
{
    replay_settings settings;
    double log_rate = 0.0;
    bool counts_only = false;
    bool json = false;
    std::string report;
};

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

void run_explain(const explain_arguments &given)
{
    refuse_overlap({given.settings.recording, given.settings.config}, {given.report});
    output out("-");
    tally counts;
    report_file page(given.report);
    int grade = 0;
    const bool lines = !given.counts_only;
    const auto on_cycle = [&](const cycle &c)
    {
        const auto said = happenings(c, grade);
        counts.add(c);
        page.add(c);
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
    page.finish(source, given.settings);
}

constexpr const char *EXPLAIN_FOOTER =
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
    const auto given = std::make_shared<explain_arguments>();
    CLI::App *command = app->add_subcommand("explain", "Say why the calibration did what it did");
    command->footer(with_exit_codes(EXPLAIN_FOOTER));
    add_replay_settings(command, &given->settings);
    command->add_option("--log-rate", given->log_rate, "Samples per second of a log without time stamps")
        ->check(CLI::PositiveNumber);
    command->add_flag("--counts", given->counts_only, "Only the counts");
    add_report_option(command, &given->report);
    command->add_flag("--json", given->json, "One JSON object per happening, the counts last");
    command->callback([given] { run_explain(*given); });
}

} // namespace qv6d
