// qv6d explain: what the calibration did with every buffer, and why, as text.

#include "commands/commands.h"
#include "commands/options.h"
#include "common/json_document.h"
#include "common/output.h"
#include "common/terminal.h"
#include "common/text.h"
#include "explain/cycle_source.h"
#include "explain/happenings.h"
#include "explain/verdict.h"
#include "library/state_dir.h"
#include "page/page_file.h"
#include "page/run_facts.h"
#include "trust/words.h"

#include <filesystem>
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

nlohmann::ordered_json happened(const cycle &c)
{
    nlohmann::ordered_json entry = {{"cycle", c.number},
                                    {"t_s", c.time},
                                    {"outcome", name(c.outcome)},
                                    {"reset", c.reset == reset_cause::none ? nlohmann::ordered_json() : name(c.reset)},
                                    {"grade", c.grade}};
    const std::string why = c.reset != reset_cause::none ? figures_of_reset(c) : figures(c);
    if (c.spans)
        entry["span_ut"] = c.spans->span;
    if (c.fit.offset)
        entry["estimate"] = {{"offset_ut", *c.fit.offset}, {"radius_ut", *c.fit.radius}};
    entry["text"] = null_if_empty(why);
    return entry;
}

std::string indented(const std::string &lines, const std::string &indent)
{
    std::string text;
    for (const char c : lines)
        text += c == '\n' ? c + indent : std::string(1, c);
    return text;
}

// A line or an entry for each thing that happened in a cycle.
class happenings_told
{
public:
    happenings_told(output *out, bool as_json) : out_(out), as_json_(as_json)
    {
    }

    void add(const cycle &c)
    {
        const auto said = happenings(c, grade_);
        grade_ = c.grade;
        if (as_json_ && !said.empty())
            entries_ += json_text(happened(c)) + "\n";
        if (!as_json_)
            for (const std::string &line : said)
                out_->print("{:>10} {}\n", fmt::format("{:.3f}", c.time), line);
    }

    // As the elements of an array, each at a depth of `indent`. What has no times has the cycles' numbers only.
    void print_entries(bool timed, const std::string &indent) const
    {
        for (std::size_t begin = 0; begin < entries_.size();)
        {
            const std::size_t end = entries_.find('\n', begin);
            auto entry = nlohmann::ordered_json::parse(entries_.begin() + static_cast<std::ptrdiff_t>(begin),
                                                       entries_.begin() + static_cast<std::ptrdiff_t>(end));
            if (!timed)
                entry["t_s"] = nullptr;
            out_->print("{}{}", begin == 0 ? "" : ",", indented("\n" + json_text(entry, 2), indent));
            begin = end + 1;
        }
    }

    bool has_entries() const
    {
        return !entries_.empty();
    }

private:
    output *const out_;
    const bool as_json_;
    int grade_ = QV6D_GRADE_UNRELIABLE;
    std::string entries_; // a line of JSON each: as objects they take twenty times the memory
};

void print_json(output *out, const explain_arguments &given, const findings &found, const happenings_told &told)
{
    const cycle_source &source = found.source;
    nlohmann::ordered_json document = json_document("explain");
    json_input input = input_of(given.settings, source.input ? source.input->origin().format : "log");
    input.options["log_rate"] = given.log_rate > 0.0 ? nlohmann::ordered_json(given.log_rate) : nullptr;
    document["input"] = json_of(input);
    document["calibration"] = source.calibration.json();
    document["timed"] = source.timed;
    document["counts"] = counts_json(found.counts, source);
    document["trust"] = json_of(source.grade_trust);
    document["plausibility"] = source.input ? source.input->json() : nlohmann::ordered_json();
    document["advice"] = advice_json(found);
    if (!given.counts_only)
        document["happened"] = nlohmann::ordered_json::array();
    const std::string text = json_text(document, 2);
    if (!told.has_entries())
        return out->print("{}\n", text);
    const std::size_t inside = text.rfind(']');
    out->print("{}", text.substr(0, inside));
    told.print_entries(source.timed, "    ");
    out->print("\n  {}\n", text.substr(inside));
}

void print_findings(output *out, const explain_arguments &given, const findings &found)
{
    out->print("{}{}", given.counts_only ? "" : "\n", counts_text(found.counts, found.source));
    const colour as = found.end == calibration_end::calibrated ? colour::green : colour::yellow;
    for (const std::string &sentence : verdict(found))
        out->print("{}\n", sentence.starts_with(headline(found)) ? painted(as, sentence, stdout)
                                                                 : painted_text{shown(sentence)});
}

void run_explain(const explain_arguments &given)
{
    refuse_overlap({given.settings.recording, given.settings.config}, {given.report});
    std::vector<std::string> written = record_files_in(given.settings.state);
    written.push_back(given.report);
    refuse_overlap({given.settings.recording}, written);
    output out("-");
    cycle_counts counts;
    page_file page(given.report);
    happenings_told told(&out, given.json);
    cycle_hearing hearing;
    hearing.on_event = [&](const event &e) { page.add(e); };
    hearing.on_cycle = [&](const cycle &c)
    {
        if (!given.counts_only)
            told.add(c);
        counts.add(c);
        page.add(c);
    };
    const cycle_source source = read_cycles(given.settings, given.log_rate, hearing);
    const findings found = find_by_replaying(counts, source, given.settings);
    if (given.json)
        print_json(&out, given, found, told);
    else
        print_findings(&out, given, found);
    out.finish();
    page_facts facts = {std::filesystem::path(given.settings.recording).filename().string()};
    if (page.wanted())
        facts.run = run_facts(given.settings);
    page.finish(found, facts);
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
    command->add_flag("--json", given->json, "Print JSON");
    command->callback([given] { run_explain(*given); });
}

} // namespace qv6d
