// qv6d tune: the table, the lines for machines and the best customer file of a sweep.

#include "commands/commands.h"
#include "commands/completion.h"
#include "commands/options.h"
#include "common/error.h"
#include "common/interrupt.h"
#include "common/json_document.h"
#include "common/output.h"
#include "common/terminal.h"
#include "common/text.h"
#include "tuning/ranking.h"
#include "tuning/tune.h"

#include <fmt/format.h>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <thread>

namespace qv6d
{

namespace
{

using nlohmann::ordered_json;

struct tune_arguments
{
    tune_settings settings;
    std::vector<std::string> recordings; // as they are named
    bool keep_going = false;
    std::vector<std::string> keys;
    std::string every, shard_text;
    std::string output = "-", best;
    std::string rank = "error";
    bool csv = false, json = false;
};

const std::map<std::string, criterion> RANKS = {{"error", criterion::error},
                                                {"time", criterion::time},
                                                {"spread", criterion::spread},
                                                {"resets", criterion::resets}};

const std::map<std::string, const char *> MEANINGS = {
    {"error", "distance of the last published offset from the reference"},
    {"time", "time to the first grade 3"},
    {"spread", "standard deviation of the calibrated norm while the grade is above 0"},
    {"resets", "resets of the calibration"}};

constexpr std::pair<const char *, criterion> FIGURES[] = {{"time_s", criterion::time},
                                                          {"error_ut", criterion::error},
                                                          {"spread_ut", criterion::spread},
                                                          {"resets", criterion::resets}};

// What a sweep came to. The base is not among the results of a sweep that was interrupted before it was done.
struct tune_report
{
    const tune_arguments &given;
    const sweep &space;
    std::vector<combination_result> all; // the base first
    bool interrupted;

    bool has_base() const
    {
        return !all.empty() && all[0].what.number == 0;
    }

    std::span<const combination_result> combinations() const
    {
        return std::span(all).subspan(has_base() ? 1 : 0);
    }
};

std::size_t graded(const combination_result &result)
{
    return static_cast<std::size_t>(
        std::ranges::count_if(result.replays, [](const replay_figures &f) { return f.spread.has_value(); }));
}

std::size_t at_grade_3(const combination_result &result)
{
    return static_cast<std::size_t>(
        std::ranges::count_if(result.replays, [](const replay_figures &f) { return f.time.has_value(); }));
}

std::string number_or(const std::optional<double> &value, const char *otherwise)
{
    return value ? fmt::format("{}", *value) : otherwise;
}

void print_csv(output *out, const tune_report &report)
{
    out->print("combination,every");
    for (const varied_key &key : report.space.keys())
        out->print(",{}", key.name);
    out->print(",recordings,graded,grade3,falsely_graded");
    for (const auto &[name, by] : FIGURES)
        out->print(",{}", name);
    out->print(",error_median_ut,error_p90_ut\n");
    for (const combination_result &result : report.combinations())
    {
        out->print("{},{}", result.what.number, result.what.every);
        for (const double value : result.what.values)
            out->print(",{}", value);
        out->print(",{},{},{},{}", result.replays.size(), graded(result), at_grade_3(result), falsely_graded(result));
        for (const auto &[name, by] : FIGURES)
            out->print(",{}", number_or(worst_case_of(result, by).figure, ""));
        out->print(",{},{}\n", number_or(error_quantile(result, 0.5), ""), number_or(error_quantile(result, 0.9), ""));
    }
    if (report.interrupted)
        out->print("# interrupted after {} combinations\n", report.combinations().size());
}

ordered_json json_of_reference(const listed_recording &recording, const replay_figures &f)
{
    static constexpr const char *SOURCES[] = {"none", "list", "seen"};
    const bool seen = f.truth.from == reference::source::seen;
    const bool wanted = recording.expected != expectation::does_not_calibrate;
    return {{"source", SOURCES[static_cast<int>(f.truth.from)]},
            {"offset_ut", f.truth.counts() ? ordered_json(f.truth.offset) : ordered_json()},
            {"radius_ut", seen ? ordered_json(f.truth.radius) : ordered_json()},
            {"error_ut", seen ? ordered_json(f.truth.error) : ordered_json()},
            {"text", f.truth.counts() || !wanted ? ordered_json() : null_if_empty(why_no_reference(f.truth))}};
}

ordered_json json_of_replay(const listed_recording &recording, const replay_figures &f)
{
    static constexpr const char *EXPECTED[] = {"any", "calibrates", "does_not_calibrate"};
    return {{"path", recording.path},
            {"expected", EXPECTED[static_cast<int>(recording.expected)]},
            {"counts", f.counts},
            {"graded", f.spread.has_value()},
            {"falsely_graded", f.falsely_graded},
            {"wrong_s", f.wrong_s},
            {"time_s", json_of(f.time)},
            {"error_ut", json_of(f.error)},
            {"spread_ut", json_of(f.spread)},
            {"resets", f.resets},
            {"last_grade", f.last_grade},
            {"offset_ut", f.offset},
            {"reference", json_of_reference(recording, f)}};
}

ordered_json json_of_keys(const sweep &space, const combination &what)
{
    ordered_json keys = ordered_json::object();
    for (std::size_t i = 0; i < space.keys().size(); ++i)
        keys[space.keys()[i].name] = space.keys()[i].integer ? ordered_json(static_cast<std::int64_t>(what.values[i]))
                                                             : ordered_json(what.values[i]);
    return keys;
}

void print_json(output *out, const tune_report &report)
{
    for (const combination_result &result : report.combinations())
    {
        ordered_json line = json_document("tune");
        line["combination"] = result.what.number;
        line["every"] = result.what.every;
        line["keys"] = json_of_keys(report.space, result.what);
        line["graded"] = graded(result);
        line["grade3"] = at_grade_3(result);
        line["falsely_graded"] = falsely_graded(result);
        for (const auto &[name, by] : FIGURES)
            line[name] = json_of(worst_case_of(result, by).figure);
        if (const auto resets = worst_case_of(result, criterion::resets).figure)
            line["resets"] = static_cast<std::uint64_t>(*resets);
        line["error_median_ut"] = json_of(error_quantile(result, 0.5));
        line["error_p90_ut"] = json_of(error_quantile(result, 0.9));
        line["interrupted"] = report.interrupted;
        for (std::size_t i = 0; i < result.replays.size(); ++i)
            line["recordings"].push_back(json_of_replay(report.given.settings.recordings[i], result.replays[i]));
        out->print("{}\n", json_text(line));
    }
}

// Recordings that say nothing about errors, a line each.
std::vector<std::string> doubts(const tune_arguments &given, const combination_result &result)
{
    std::vector<std::string> all;
    for (std::size_t i = 0; i < result.replays.size(); ++i)
        if (const replay_figures &f = result.replays[i]; f.meant_to_calibrate && !f.truth.counts())
            all.push_back(fmt::format("{}: nothing says how wrong an offset is{}. {}",
                                      given.settings.recordings[i].path, f.counts ? "" : ", so it does not count",
                                      why_no_reference(f.truth)));
    return all;
}

void print_references(output *out, const tune_arguments &given, const combination_result &result)
{
    out->print("\nOffsets that errors are measured against\n");
    for (std::size_t i = 0; i < result.replays.size(); ++i)
    {
        const replay_figures &f = result.replays[i];
        const std::string &path = given.settings.recordings[i].path;
        const auto &[x, y, z] = f.truth.offset;
        if (f.truth.from == reference::source::seen)
            out->print("  {}: {:.2f}, {:.2f}, {:.2f} ± {:.2f} µT, as its fields show at the end\n", path, x, y, z,
                       f.truth.error);
        else if (f.truth.counts())
            out->print("  {}: {:.2f}, {:.2f}, {:.2f} µT, from the list\n", path, x, y, z);
        else
            out->print("  {}: none\n", path);
    }
}

class result_table
{
public:
    explicit result_table(const tune_report &report)
        : report_(report), several_(report.given.settings.recordings.size() > 1), rows_(1, header())
    {
    }

    void add(const std::string &place, const combination_result &result)
    {
        std::vector<std::string> row = {place, fmt::format("{}", result.what.every)};
        for (std::size_t i = 0; i < report_.space.keys().size(); ++i)
            row.push_back(result.what.number == 0 ? "base" : fmt::format("{}", result.what.values[i]));
        add_to(&row, {fmt::format("{} of {}", at_grade_3(result), result.replays.size()),
                      fmt::format("{}", falsely_graded(result)), shown(result, criterion::time, 1, "never")});
        if (several_)
            add_to(&row, {number(error_quantile(result, 0.5)), number(error_quantile(result, 0.9))});
        add_to(&row, {shown(result, criterion::error, 2, "-"), shown(result, criterion::spread, 2, "-"),
                      shown(result, criterion::resets, 0, "-")});
        rows_.push_back(row);
    }

    void print(output *out) const
    {
        std::vector<std::size_t> widths(rows_[0].size());
        for (const auto &row : rows_)
            for (std::size_t i = 0; i < row.size(); ++i)
                widths[i] = std::max(widths[i], row[i].size() - (row[i].ends_with("µT") ? 1 : 0)); // µ is two bytes
        for (const auto &row : rows_)
        {
            for (std::size_t i = 0; i < row.size(); ++i)
                out->print("{}{:>{}}", i == 0 ? "" : "  ", row[i], widths[i]);
            out->print("\n");
        }
    }

private:
    std::vector<std::string> header() const
    {
        std::vector<std::string> names = {"rank", "every"};
        for (const varied_key &key : report_.space.keys())
            names.push_back(key.name);
        add_to(&names, {"at grade 3", "false", "grade 3 after s"});
        if (several_)
            add_to(&names, {"error median", "90 %", "worst µT"});
        else
            add_to(&names, {"error µT"});
        add_to(&names, {"spread µT", "resets"});
        return names;
    }

    static void add_to(std::vector<std::string> *row, std::initializer_list<std::string> cells)
    {
        row->insert(row->end(), cells);
    }

    static std::string number(const std::optional<double> &value)
    {
        return value ? fmt::format("{:.2f}", *value) : "-";
    }

    static std::string shown(const combination_result &result, criterion by, int decimals, const char *otherwise)
    {
        const std::optional<double> worst = worst_case_of(result, by).figure;
        return worst ? fmt::format("{:.{}f}", *worst, decimals) : otherwise;
    }

    const tune_report &report_;
    const bool several_;
    std::vector<std::vector<std::string>> rows_;
};

void print_table(output *out, const tune_report &report, const std::vector<std::size_t> &order)
{
    const tune_arguments &given = report.given;
    const std::size_t count = given.settings.recordings.size();
    out->print("{}{} of {} combinations, {}, ranked by {}: {}{}\n\n", report.interrupted ? "INTERRUPTED after " : "",
               report.combinations().size(), report.space.size(),
               count == 1 ? given.settings.recordings[0].path : fmt::format("{} recordings", count), given.rank,
               MEANINGS.at(given.rank), count == 1 ? "" : ", of the worst recording");
    result_table table(report);
    std::size_t place = 0;
    for (const std::size_t i : order)
        table.add(report.all[i].what.number == 0 ? "" : fmt::format("{}", ++place), report.all[i]);
    table.print(out);
}

// Empty when nothing is better than the base.
std::string best_file(const tune_report &report, const customer_overlay &base, const combination_result &best)
{
    if (best.what.number == 0 || report.space.keys().empty())
        return "";
    return fmt::format("# Best of {} combinations by {}{}\n{}", report.combinations().size(), report.given.rank,
                       best.what.every == 1 ? "" : fmt::format(", at 1 of {} magnetometer events", best.what.every),
                       base.with(pairs_of(report.space.keys(), best.what)));
}

// After the table: what the errors mean, and what to do with the best.
void print_best(output *out, const tune_report &report, const std::string &file, const combination_result &first)
{
    print_references(out, report.given, first);
    if (first.what.number == 0)
        out->print("\nNo combination is better than the base.\n");
    else if (!report.given.best.empty() && !report.interrupted)
        out->print("\nThe customer file of the best is in {}\n", report.given.best);
    else if (!file.empty())
        out->print("\n{}", file);
}

void print_notes(const tune_report &report, const combination_result &first)
{
    for (const std::string &line : doubts(report.given, first))
        note(line);
    if (std::ranges::all_of(report.all, [](const combination_result &result) { return graded(result) == 0; }))
        note("no combination ever showed a grade above 0, so none is the best");
    if (falsely_graded(first) > 0)
        note(fmt::format("even the best is falsely graded on {}", counted(falsely_graded(first), "recording")));
}

// `best` is given when the customer file is wanted.
void print_results(output *out, output *best, const tune_report &report, const customer_overlay &base)
{
    const std::vector<std::size_t> order = ranked(report.all, RANKS.at(report.given.rank));
    const bool as_table = !report.given.csv && !report.given.json;
    if (report.given.csv)
        print_csv(out, report);
    else if (report.given.json)
        print_json(out, report);
    else
        print_table(out, report, order);
    if (order.empty())
        return out->finish();

    const combination_result &first = report.all[order[0]];
    const std::string file = best_file(report, base, first);
    if (as_table)
        print_best(out, report, file, first);
    out->finish();
    print_notes(report, first);
    if (best == nullptr || report.interrupted)
        return;
    if (file.empty())
        throw error(EXIT_UNMET,
                    fmt::format("{}: not written: no combination is better than the base", report.given.best));
    best->write(file);
    best->finish();
}

std::vector<varied_key> parse_keys(const tune_arguments &given)
{
    std::vector<varied_key> keys;
    for (const std::string &key : given.keys)
        keys.push_back(parse_key(key));
    if (keys.empty() && given.every.empty())
        throw error(EXIT_USAGE, "nothing to vary: give --key or --every");
    if (keys.empty() && !given.best.empty())
        throw error(EXIT_USAGE, "--best needs --key: a customer file cannot say which events are used");
    return keys;
}

customer_overlay read_base(const std::string &path)
{
    customer_overlay base(path);
    for (const std::string &complaint : base.complaints())
        note(complaint);
    return base;
}

std::vector<std::string> paths_of(const tune_arguments &given)
{
    std::vector<std::string> paths = {given.settings.base};
    for (const listed_recording &recording : given.settings.recordings)
        paths.push_back(recording.path);
    for (const std::string &named : given.recordings)
        if (named.starts_with('@'))
            paths.push_back(named.substr(1));
    return paths;
}

void run_tune(tune_arguments given)
{
    const std::vector<varied_key> keys = parse_keys(given);
    const sweep space(keys, parse_values("--every", given.every.empty() ? "1" : given.every));
    std::vector<combination> combinations =
        space.of(given.shard_text.empty() ? shard() : parse_shard(given.shard_text));
    combinations.insert(combinations.begin(), {0, space.at(1).every, {}});
    const customer_overlay base = read_base(given.settings.base);
    given.settings.recordings = recordings_of(given.recordings);
    refuse_overlap(paths_of(given), {given.output, given.best});
    check_recordings(&given.settings, given.keep_going);

    output out(given.output);
    std::optional<output> best;
    if (!given.best.empty())
        best.emplace(given.best);
    tune_outcome outcome = tune(given.settings, base, keys, combinations);
    const tune_report report = {given, space, std::move(outcome.results), outcome.interrupted};
    if (report.interrupted)
        go_on_after_interrupt();
    if (!report.interrupted || !report.combinations().empty())
        print_results(&out, best ? &*best : nullptr, report, base);
    if (report.interrupted)
        throw error(EXIT_INTERRUPTED,
                    fmt::format("interrupted: {} of {} combinations are done{}", report.combinations().size(),
                                combinations.size() - 1, given.best.empty() ? "" : ", and --best is not written"));
}

constexpr const char *TUNE_FOOTER =
    "tune replays the recordings under every combination of the values, each without a stored calibration, and ranks "
    "the\n"
    "combinations. VALUES are numbers and ranges: 1,2,5 or 15:40:5 (from:to:step; both ends count).\n\n"
    "A RECORDING is a file, a folder (all its .csv files) or @LIST. A list has a recording in each line; words before "
    "the\n"
    "path say what you know of it, and # begins a comment:\n"
    "  must phone-1.csv                  it must calibrate\n"
    "  must-not table.csv                it must not calibrate: every grade 3 is false\n"
    "  offset=120,-45,-300 phone-2.csv   its true offset in µT, which errors are measured against\n"
    "  must offset=1,2,3 phone-3.csv     both\n"
    "  leave-out broken.csv              it is not used\n"
    "Paths begin at the folder of the list.\n\n"
    "Without a known offset, the recording itself is the judge, as in explain: the error is measured against the "
    "offset\n"
    "that its fields show at the end of the base's replay. A recording whose fields show none does not count, unless\n"
    "the list says what to expect of it.\n\n"
    "Figures:\n"
    "  at grade 3  recordings that showed grade 3\n"
    "  false       recordings on which grade 3 was wrong for a second or more: the offset was off by more than 5 µT, "
    "or\n"
    "              the recording must not calibrate\n"
    "  time        seconds from the first event to the first grade 3\n"
    "  error       µT from the last published offset to the reference, of recordings that showed grade 3\n"
    "  spread      µT, standard deviation of the calibrated norm while the grade is above 0\n"
    "  resets      how often the calibration started over\n"
    "The worst recording decides. Before that, costs decide: a recording that counts and never shows grade 3 costs 1, "
    "a\n"
    "false grade costs 3. Equal combinations are ranked by error, time, spread and resets, then by number.\n\n"
    "The row without a rank is the base: the customer file of --base, or the defaults, at the first N of --every. When "
    "no\n"
    "combination is better, --best writes no file and the exit code is 6.\n"
    "CSV and JSON have a line for each combination, in the order of combinations. Shard K of N has the combinations "
    "K,\n"
    "K + N, K + 2N, ...; they keep their numbers. After Ctrl-C the combinations that are done are printed and "
    "marked.\n\n"
    "Examples:\n"
    "  qv6d tune phone.csv --key hcal.rbufsize=15:40:5 --key hcal.rlsm.w=0.97,0.98,0.988 --every 1,2,5\n"
    "  qv6d tune a.csv b.csv --key hcal.motion.sendiffmin=8:20:2 --rank time --best device.cfg\n"
    "  qv6d tune @phones.list --keep-going --key hcal.readycnt=2:5:1\n"
    "  qv6d tune phone.csv --base device.cfg --key hcal.rlsm.stdev=0.1:0.5:0.1 --json --shard 2/8 -o part2.jsonl\n"
    "  qv6d replay phone.csv --config device.cfg         look closer at the best combination\n";

void add_sweep(CLI::App *command, tune_arguments *given)
{
    command->add_option("recordings", given->recordings, "Recordings, folders and lists, see below")
        ->required()
        ->type_name(FILE_VALUE);
    command->add_option("-k,--key", given->keys, "Vary a customer key; repeat for more keys")
        ->type_name(KEY_VALUE)
        ->allow_extra_args(false);
    command->add_option("-n,--every", given->every, "Use only every Nth magnetometer event [1]")->type_name("VALUES");
    command->add_option("-b,--base", given->settings.base, "Customer file; the combinations replace its values")
        ->type_name(FILE_VALUE);
    command->add_option("--shard", given->shard_text, "Replay only this share of the combinations [1/1]")
        ->type_name("K/N");
    command->add_flag("--keep-going", given->keep_going, "Leave out recordings that cannot be read, and say which");
    command->add_option("-j,--jobs", given->settings.jobs, "Processes at a time")
        ->check(CLI::Range(1, 1024))
        ->default_str("all cores");
}

void add_results(CLI::App *command, tune_arguments *given)
{
    command->add_option("-r,--rank", given->rank, "Figure to rank by")
        ->check(CLI::IsMember(RANKS))
        ->capture_default_str();
    CLI::Option *csv = command->add_flag("--csv", given->csv, "Print a CSV line per combination");
    command->add_flag("--json", given->json, "Print a JSON line per combination")->excludes(csv);
    command
        ->add_option("-o,--output", given->output, "Write the table or the lines to this file, - for standard output")
        ->type_name(FILE_VALUE)
        ->capture_default_str();
    command->add_option("--best", given->best, "Write the customer file of the best combination to this file")
        ->type_name(FILE_VALUE);
}

} // namespace

void add_tune(CLI::App *app, exit_code *)
{
    const auto given = std::make_shared<tune_arguments>();
    given->settings.jobs = std::max(1u, std::thread::hardware_concurrency());
    CLI::App *command = app->add_subcommand("tune", "Rank combinations of key values by replaying recordings");
    command->footer(with_exit_codes(TUNE_FOOTER, {{EXIT_UNMET, "--best: no combination is better than the base"},
                                                  {EXIT_INTERRUPTED, "interrupted; what is done is printed"}}));
    add_sweep(command, given.get());
    add_results(command, given.get());
    add_reading(command, &given->settings.reading, &given->settings.strict);
    add_mag_unit(command, &given->settings.counts);
    add_notify_gyro(command, &given->settings.notify_gyro);
    command->callback([given] { run_tune(*given); });
}

} // namespace qv6d
