// qv6d tune: the table, the lines for machines and the best customer file of a sweep.

#include "commands/commands.h"
#include "commands/completion.h"
#include "commands/options.h"
#include "common/error.h"
#include "common/json_document.h"
#include "common/output.h"
#include "common/terminal.h"
#include "common/text.h"
#include "tuning/ranking.h"
#include "tuning/tune.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <thread>

namespace qv6d
{

namespace
{

using nlohmann::ordered_json;

struct tune_arguments
{
    tune_settings settings;
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
    {"error", "distance of the last published offset from the sphere through the whole recording"},
    {"time", "time to the first grade 3"},
    {"spread", "standard deviation of the calibrated norm while the grade is above 0"},
    {"resets", "resets of the calibration"}};

constexpr std::pair<const char *, criterion> FIGURES[] = {{"time_s", criterion::time},
                                                          {"error_ut", criterion::error},
                                                          {"spread_ut", criterion::spread},
                                                          {"resets", criterion::resets}};

std::size_t graded(const combination_result &result)
{
    return result.replays.size() - worst_case_of(result, criterion::spread).missing;
}

std::size_t at_grade_3(const combination_result &result)
{
    return result.replays.size() - worst_case_of(result, criterion::time).missing;
}

std::string number_or(const std::optional<double> &value, const char *otherwise)
{
    return value ? fmt::format("{}", *value) : otherwise;
}

void print_csv(output *out, const sweep &space, const std::vector<combination_result> &results)
{
    out->print("combination,every");
    for (const varied_key &key : space.keys())
        out->print(",{}", key.name);
    out->print(",recordings,graded,grade3");
    for (const auto &[name, by] : FIGURES)
        out->print(",{}", name);
    out->print("\n");
    for (const combination_result &result : results)
    {
        out->print("{},{}", result.what.number, result.what.every);
        for (const double value : result.what.values)
            out->print(",{}", value);
        out->print(",{},{},{}", result.replays.size(), graded(result), at_grade_3(result));
        for (const auto &[name, by] : FIGURES)
            out->print(",{}", number_or(worst_case_of(result, by).figure, ""));
        out->print("\n");
    }
}

ordered_json json_of_replay(const std::string &recording, const replay_figures &f)
{
    ordered_json out = {{"recording", recording},         {"time_s", json_of(f.time)}, {"error_ut", json_of(f.error)},
                        {"spread_ut", json_of(f.spread)}, {"resets", f.resets},        {"last_grade", f.last_grade},
                        {"offset_ut", f.offset}};
    if (f.reference)
        out["sphere"] = {{"centre_ut", f.reference->centre},
                         {"radius_ut", f.reference->radius},
                         {"residual_ut", f.reference->residual}};
    else
        out["sphere"] = nullptr;
    return out;
}

void print_json(output *out, const tune_arguments &given, const sweep &space,
                const std::vector<combination_result> &results)
{
    for (const combination_result &result : results)
    {
        ordered_json line = json_document("tune");
        line.update({{"combination", result.what.number}, {"every", result.what.every}});
        ordered_json &keys = line["keys"] = ordered_json::object();
        for (std::size_t i = 0; i < space.keys().size(); ++i)
        {
            const double value = result.what.values[i];
            if (space.keys()[i].integer)
                keys[space.keys()[i].name] = static_cast<std::int64_t>(value);
            else
                keys[space.keys()[i].name] = value;
        }
        line["graded"] = graded(result);
        line["grade3"] = at_grade_3(result);
        for (const auto &[name, by] : FIGURES)
            line[name] = json_of(worst_case_of(result, by).figure);
        line["resets"] = static_cast<std::uint64_t>(*worst_case_of(result, criterion::resets).figure);
        for (std::size_t i = 0; i < result.replays.size(); ++i)
            line["recordings"].push_back(json_of_replay(given.settings.recordings[i], result.replays[i]));
        out->print("{}\n", json_text(line));
    }
}

// Why the error says little, a line for each recording of which that is so.
std::vector<std::string> doubts(const tune_arguments &given, const combination_result &result)
{
    std::vector<std::string> all;
    for (std::size_t i = 0; i < result.replays.size(); ++i)
    {
        const std::optional<sphere> &reference = result.replays[i].reference;
        const std::string why = reference ? why_not_trusted(*reference) : "no sphere fits the samples";
        if (!why.empty())
            all.push_back(fmt::format("{}: the error says little: {}", given.settings.recordings[i], why));
    }
    return all;
}

void print_references(output *out, const tune_arguments &given, const combination_result &result)
{
    out->print("\nSphere through the whole recording, which errors are measured against\n");
    for (std::size_t i = 0; i < result.replays.size(); ++i)
        if (const std::optional<sphere> &s = result.replays[i].reference)
            out->print("  {}: centre {:.2f}, {:.2f}, {:.2f} µT, radius {:.2f} ± {:.2f} µT\n",
                       given.settings.recordings[i], s->centre[0], s->centre[1], s->centre[2], s->radius, s->residual);
}

std::vector<std::string> table_row(std::size_t place, const combination_result &result)
{
    std::vector<std::string> row = {fmt::format("{}", place), fmt::format("{}", result.what.every)};
    for (const double value : result.what.values)
        row.push_back(fmt::format("{}", value));
    const std::size_t count = result.replays.size();
    if (count > 1)
        row.push_back(fmt::format("{} of {}", at_grade_3(result), count));
    const auto shown = [&result](criterion by, int decimals, const char *otherwise)
    {
        const std::optional<double> worst = worst_case_of(result, by).figure;
        return worst ? fmt::format("{:.{}f}", *worst, decimals) : otherwise;
    };
    row.push_back(shown(criterion::time, 1, "never"));
    row.push_back(shown(criterion::error, 2, "-"));
    row.push_back(shown(criterion::spread, 2, "-"));
    row.push_back(shown(criterion::resets, 0, "-"));
    return row;
}

void print_table(output *out, const tune_arguments &given, const sweep &space,
                 const std::vector<combination_result> &results, const std::vector<std::size_t> &order)
{
    out->print("{} of {} combinations, {}, ranked by {}: {}{}\n\n", results.size(), space.size(),
               given.settings.recordings.size() == 1 ? given.settings.recordings[0]
                                                     : fmt::format("{} recordings", given.settings.recordings.size()),
               given.rank, MEANINGS.at(given.rank),
               given.settings.recordings.size() == 1 ? "" : ", each figure that of the worst recording");
    std::vector<std::vector<std::string>> rows = {{"rank", "every"}};
    for (const varied_key &key : space.keys())
        rows[0].push_back(key.name);
    if (given.settings.recordings.size() > 1)
        rows[0].push_back("at grade 3");
    rows[0].insert(rows[0].end(), {"grade 3 after s", "error µT", "spread µT", "resets"});
    for (std::size_t place = 0; place < order.size(); ++place)
        rows.push_back(table_row(place + 1, results[order[place]]));

    std::vector<std::size_t> widths(rows[0].size());
    for (const auto &row : rows)
        for (std::size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], row[i].size() - (row[i].ends_with("µT") ? 1 : 0)); // µ is two bytes
    for (const auto &row : rows)
    {
        for (std::size_t i = 0; i < row.size(); ++i)
            out->print("{}{:>{}}", i == 0 ? "" : "  ", row[i], widths[i]);
        out->print("\n");
    }
}

std::string best_file(const tune_arguments &given, const customer_overlay &base, const sweep &space, std::size_t count,
                      const combination_result &best)
{
    return fmt::format("# Best of {} combinations by {}{}\n{}", count, given.rank,
                       best.what.every == 1 ? "" : fmt::format(", at 1 of {} magnetometer events", best.what.every),
                       base.with(pairs_of(space.keys(), best.what)));
}

void print_results(output *out, std::optional<output> *best, const tune_arguments &given, const customer_overlay &base,
                   const sweep &space, const std::vector<combination_result> &results)
{
    const std::vector<std::size_t> order = ranked(results, RANKS.at(given.rank));
    if (given.csv)
        print_csv(out, space, results);
    else if (given.json)
        print_json(out, given, space, results);
    else
        print_table(out, given, space, results, order);
    if (results.empty())
        return;

    const combination_result &first = results[order[0]];
    const std::string text = best_file(given, base, space, results.size(), first);
    if (*best)
        (*best)->print("{}", text);
    if (!given.csv && !given.json)
    {
        print_references(out, given, first);
        if (*best)
            out->print("\nThe customer file of the best is in {}\n", given.best);
        else
            out->print("\n{}", text);
    }
    for (const std::string &line : doubts(given, first))
        note(line);
    if (graded(first) == 0)
        note("no combination ever showed a grade above 0, so none is the best");
}

std::vector<varied_key> parse_keys(const tune_arguments &given)
{
    std::vector<varied_key> keys;
    for (const std::string &key : given.keys)
        keys.push_back(parse_key(key));
    if (keys.empty() && given.every.empty())
        throw error(EXIT_USAGE, "nothing to vary: give --key or --every");
    return keys;
}

customer_overlay read_base(const std::string &path)
{
    customer_overlay base(path);
    for (const std::string &complaint : base.complaints())
        note(complaint);
    return base;
}

void run_tune(const tune_arguments &given)
{
    const std::vector<varied_key> keys = parse_keys(given);
    const sweep space(keys, parse_values("--every", given.every.empty() ? "1" : given.every));
    const std::vector<combination> combinations =
        space.of(given.shard_text.empty() ? shard() : parse_shard(given.shard_text));
    const customer_overlay base = read_base(given.settings.base);

    output out(given.output);
    std::optional<output> best;
    if (!given.best.empty())
        best.emplace(given.best);
    const std::vector<combination_result> results = tune(given.settings, base, keys, combinations);
    print_results(&out, &best, given, base, space, results);
    if (best)
        best->finish();
    out.finish();
}

constexpr const char *TUNE_FOOTER =
    "VALUES are numbers and ranges: 1,2,5 or 15:40:5 (from:to:step; both ends count). Every combination starts\n"
    "without a stored calibration. With several recordings the worst figure counts; before that, on how many\n"
    "recordings a combination has the figure at all, so that one that never calibrates comes last. Equal combinations\n"
    "are ranked by error, time, spread and resets, then by number. Figures:\n"
    "  time    seconds from the first event to the first grade 3\n"
    "  error   µT from the last published offset to the centre of the least-squares sphere through all magnetometer\n"
    "          events of the recording (after the soft-iron matrix, if there is one)\n"
    "  spread  µT, standard deviation of the calibrated norm while the grade is above 0\n"
    "  resets  number of resets of the calibration\n"
    "CSV and JSON have a line per combination, in the order of combinations. graded and grade3 count the recordings\n"
    "that showed a grade above 0 and grade 3. Shard K of N has the combinations K, K + N, K + 2N, ...; they keep "
    "their\n"
    "numbers.\n\n"
    "Examples:\n"
    "  qv6d tune phone.csv --key hcal.rbufsize=15:40:5 --key hcal.rlsm.w=0.97,0.98,0.988 --every 1,2,5\n"
    "  qv6d tune a.csv b.csv --key hcal.motion.sendiffmin=8:20:2 --rank time --best device.cfg\n"
    "  qv6d tune phone.csv --base device.cfg --key hcal.rlsm.stdev=0.1:0.5:0.1 --json --shard 2/8 -o part2.jsonl\n"
    "  qv6d replay phone.csv --config device.cfg         look closer at the best combination\n";

void add_sweep(CLI::App *command, tune_arguments *given)
{
    command->add_option("recordings", given->settings.recordings, "Recordings to replay")
        ->required()
        ->type_name(FILE_VALUE);
    command->add_option("-k,--key", given->keys, "Vary a customer key; repeat for more keys")
        ->type_name(KEY_VALUE)
        ->allow_extra_args(false);
    command->add_option("-n,--every", given->every, "VALUES: use only every Nth magnetometer event [1]");
    command->add_option("-b,--base", given->settings.base, "Customer file; the combinations replace its values")
        ->type_name(FILE_VALUE);
    command->add_option("--shard", given->shard_text, "K/N: replay only this share of the combinations [1/1]");
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
    command->footer(with_exit_codes(TUNE_FOOTER));
    add_sweep(command, given.get());
    add_results(command, given.get());
    add_mag_unit(command, &given->settings.counts);
    add_notify_gyro(command, &given->settings.notify_gyro);
    command->callback([given] { run_tune(*given); });
}

} // namespace qv6d
