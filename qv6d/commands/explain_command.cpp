// qv6d explain: what the calibration did with every buffer, and why, as text.

#include "commands/commands.h"
#include "commands/options.h"
#include "common/output.h"
#include "explain/cycle_source.h"
#include "explain/happenings.h"
#include "explain/verdict.h"
#include "page/page_file.h"

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

// A line for each thing that happened in a cycle.
void print_cycle(output *out, const explain_arguments &given, const cycle &c, int previous_grade)
{
    const auto said = happenings(c, previous_grade);
    if (given.json && !said.empty())
        out->print("{}\n", json_line(c).dump());
    if (!given.json)
        for (const std::string &line : said)
            out->print("{:>10} {}\n", fmt::format("{:.3f}", c.time), line);
}

void print_findings(output *out, const explain_arguments &given, const findings &found)
{
    out->print("{}{}", given.counts_only ? "" : "\n", counts_text(found.counts, found.source));
    for (const std::string &sentence : verdict(found))
        out->print("{}\n", sentence);
}

void run_explain(const explain_arguments &given)
{
    refuse_overlap({given.settings.recording, given.settings.config}, {given.report});
    output out("-");
    cycle_counts counts;
    page_file page(given.report);
    int grade = QV6D_GRADE_UNRELIABLE;
    const auto on_cycle = [&](const cycle &c)
    {
        if (!given.counts_only)
            print_cycle(&out, given, c, grade);
        grade = c.grade;
        counts.add(c);
        page.add(c);
    };
    const cycle_source source = read_cycles(given.settings, given.log_rate, on_cycle);
    if (given.json)
        out.print("{}\n", counts_json(counts, source).dump());
    if (given.json && !page.wanted())
        return out.finish(); // the counts need no further replay
    const findings found = find_by_replaying(counts, source, given.settings);
    if (!given.json)
        print_findings(&out, given, found);
    out.finish();
    page.finish(found, given.settings.recording);
}

constexpr const char *EXPLAIN_FOOTER =
    "The input is a recording, which is replayed, or the log of a device as text, in the platform's brief, time,\n"
    "threadtime or plain format. A log needs the library's debug lines: hcal.endbg = 1, and for the figures also\n"
    "hcal.motion.endbg = 1 and hcal.rlsm.endbg = 1. Lines of other programs are skipped.\n"
    "Times are seconds from the first event. Of a log without time stamps they are sample numbers, or seconds with\n"
    "--log-rate.\n\n"
    "Examples:\n"
    "  qv6d explain phone.csv              show every full buffer, every reset and every change of grade\n"
    "  qv6d explain phone.csv --counts     show only how many there were, and what to do about it\n"
    "  qv6d explain device.log             explain the log that a user sent\n";

} // namespace

void add_explain(CLI::App *app, exit_code *)
{
    const auto given = std::make_shared<explain_arguments>();
    CLI::App *command = app->add_subcommand("explain", "Explain what the calibration did with every buffer, and why");
    command->footer(with_exit_codes(EXPLAIN_FOOTER));
    add_replay_settings(command, &given->settings);
    command->add_option("--log-rate", given->log_rate, "Samples per second of a log without time stamps")
        ->check(CLI::PositiveNumber);
    command->add_flag("--counts", given->counts_only, "Print only the counts");
    add_report(command, &given->report);
    command->add_flag("--json", given->json, "Print a JSON object for each thing that happened, and the counts last");
    command->callback([given] { run_explain(*given); });
}

} // namespace qv6d
