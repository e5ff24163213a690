// qv6d check: what the library makes of a customer file, and a file with all keys to begin with.

#include "commands.h"
#include "customer_file.h"
#include "error.h"
#include "output.h"

#include <memory>
#include <nlohmann/json.hpp>

namespace qv6d
{

namespace
{

using json = nlohmann::ordered_json;
using outcome = customer_line::outcome;

struct check_arguments
{
    std::string file;
    bool defaults = false;
    bool strict = false;
    bool json = false;
    bool markdown = false;
};

const char *bytes(const qvstorage_cfg &cfg)
{
    return reinterpret_cast<const char *>(&cfg);
}

int changed_fields(const customer_report &report)
{
    int changed = 0;
    for (const record_field &field : record_fields(record_type::configuration))
        changed += !same_value(field, bytes(report.base), bytes(report.result));
    return changed;
}

// Lines behind the one that ended the reading.
int lines_not_read(const customer_report &report)
{
    return report.count(outcome::ended) == 0 ? 0 : report.line_count - report.lines.back().number;
}

std::string plural(int count, const char *what)
{
    return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

void print_line(output *out, const std::string &file, const customer_line &line)
{
    if (line.result == outcome::taken)
    {
        const std::string now = value_text(*line.field, bytes(line.after));
        const std::string was = same_value(*line.field, bytes(line.before), bytes(line.after))
                                    ? "as before"
                                    : "was " + value_text(*line.field, bytes(line.before));
        out->print("{}:{}: {} = {} ({})\n", file, line.number, line.field->name, now, was);
    }
    else if (line.result != outcome::skipped)
        out->print("{}:{}:{}: not taken: {}\n", file, line.number, line.column, line.reason);
    for (const customer_warning &warning : line.warnings)
        out->print("{}:{}:{}: warning: {}\n", file, line.number, warning.column, warning.text);
}

void print_report(output *out, const std::string &file, const customer_report &report)
{
    for (const customer_line &line : report.lines)
        print_line(out, file, line);
    const int not_read = lines_not_read(report),
              not_taken = report.count(outcome::not_taken) + report.count(outcome::ended);
    if (not_read > 0)
        out->print("{}:{}: not read{}\n", file, report.line_count - not_read + 1,
                   not_read == 1 ? "" : fmt::format(", nor is any line up to {}", report.line_count));
    out->print("{}: {} taken, {} not taken{}, {}; {} changed\n", file, plural(report.count(outcome::taken), "line"),
               not_taken, not_read > 0 ? fmt::format(", {} not read", not_read) : "",
               plural(report.warning_count(), "warning"), plural(changed_fields(report), "field"));
}

json line_json(const customer_line &line)
{
    static constexpr const char *NAMES[] = {"taken", "skipped", "not_taken", "ended"};
    json warnings = json::array();
    for (const customer_warning &warning : line.warnings)
        warnings.push_back({{"column", warning.column}, {"text", warning.text}});
    json entry = {{"line", line.number}, {"column", line.column}, {"result", NAMES[static_cast<int>(line.result)]}};
    if (line.result == outcome::taken)
    {
        entry["key"] = line.field->name;
        entry["old"] = value_json(*line.field, bytes(line.before));
        entry["new"] = value_json(*line.field, bytes(line.after));
    }
    else if (line.result != outcome::skipped)
        entry["reason"] = line.reason;
    entry["warnings"] = warnings;
    return entry;
}

void print_json(output *out, const std::string &file, const customer_report &report)
{
    json lines = json::array();
    for (const customer_line &line : report.lines)
        lines.push_back(line_json(line));
    const json all = {{"file", file},
                      {"all_taken", report.all_taken()},
                      {"taken", report.count(outcome::taken)},
                      {"not_taken", report.count(outcome::not_taken) + report.count(outcome::ended)},
                      {"not_read", lines_not_read(report)},
                      {"warnings", report.warning_count()},
                      {"changed_fields", changed_fields(report)},
                      {"lines", lines}};
    out->print("{}\n", all.dump(2, ' ', false, json::error_handler_t::replace));
}

// What stands above a key; its lines must be as short as any.
void print_key(output *out, const customer_key &key, const qvstorage_cfg &defaults, const qvstorage_cfg &start)
{
    const record_field &field = *customer_field(key.name);
    if (!field.meaning.empty())
        out->print("\n# {}{}\n", field.meaning, field.unit.empty() ? "" : fmt::format(" [{}]", field.unit));
    if (!same_value(field, bytes(defaults), bytes(start)))
        out->print("# default {}, but QVS_initLib sets:\n", value_text(field, bytes(defaults)));
    if (!key.compared)
        out->print("# a change keeps the stored calibration\n");
    out->print("{} = {}\n", field.name, value_text(field, bytes(start)));
}

void print_defaults(output *out)
{
    out->print(
        "# Customer file with all {} keys. The values are those in force without a customer file: the library's\n"
        "# defaults, or what QVS_initLib sets over them. As it stands, this file changes nothing.\n"
        "#\n"
        "# One key = value per line, 126 characters at most. A comment has # or % in the first column and a line\n"
        "# of its own. Changing any key without a remark discards the stored calibration at the next start.\n",
        CUSTOMER_KEY_COUNT);
    const qvstorage_cfg defaults = default_configuration(), start = start_configuration();
    for (const customer_key &key : CUSTOMER_KEYS)
        print_key(out, key, defaults, start);
}

std::string markdown_unit(const std::string &unit)
{
    return unit == "uT" ? "µT" : unit == "m/s2" ? "m/s²" : unit;
}

// The reference of docs/tuning.md.
void print_markdown(output *out)
{
    out->print("| key | default | unit | |\n|---|---|---|---|\n");
    const qvstorage_cfg defaults = default_configuration(), start = start_configuration();
    for (const customer_key &key : CUSTOMER_KEYS)
    {
        const record_field &field = *customer_field(key.name);
        const std::string value = value_text(field, bytes(start));
        const bool same = same_value(field, bytes(defaults), bytes(start));
        out->print("| `{}` | {}{} | {} | {}{} |\n", key.name, value,
                   same ? "" : fmt::format(" ({})", value_text(field, bytes(defaults))), markdown_unit(field.unit),
                   field.meaning.empty() ? "the same row" : field.meaning,
                   key.compared ? "" : "; a change keeps the stored calibration");
    }
}

int run_check(const check_arguments &given)
{
    if (given.defaults == !given.file.empty())
        throw error(EXIT_USAGE, "check: expected either a customer file or --defaults");
    if (given.defaults)
    {
        output out("-");
        if (given.markdown)
            print_markdown(&out);
        else
            print_defaults(&out);
        out.finish();
        return EXIT_OK;
    }
    const customer_report report = read_customer_file(given.file);
    output out("-");
    if (given.json)
        print_json(&out, given.file, report);
    else
        print_report(&out, given.file, report);
    out.finish();
    return report.all_taken() && !(given.strict && report.warning_count() > 0) ? EXIT_OK : EXIT_MALFORMED;
}

constexpr const char *CHECK_FOOTER =
    "Every line is put through the library itself, on top of what QVS_initLib sets:\n"
    "  FILE:LINE: key = value (was OLD)            taken\n"
    "  FILE:LINE:COLUMN: not taken: reason         passed over, or the end of the reading\n"
    "  FILE:LINE:COLUMN: warning: ...              taken, but hardly as meant\n"
    "Columns count bytes from 1.\n\n"
    "Examples:\n"
    "  qv6d check --defaults >device.cfg           a file with all keys to begin with; changes nothing as it is\n"
    "  qv6d check device.cfg                       what the library will make of it\n"
    "  qv6d check --strict device.cfg >/dev/null   as a gate before shipping: fails on warnings too\n"
    "  qv6d check --json device.cfg                for machines\n\n"
    "Exit codes: 0 all taken, 2 wrong options, 3 not all taken (or warnings, with --strict), 4 the file cannot be\n"
    "read, 5 the result cannot be written.";

} // namespace

void add_check(CLI::App *app, int *exit_code)
{
    const auto given = std::make_shared<check_arguments>();
    CLI::App *command =
        app->add_subcommand("check", "Read a customer file as the library will, and explain every line");
    command->footer(CHECK_FOOTER);
    command->add_option("file", given->file, "Customer file, - for standard input");
    CLI::Option *defaults =
        command->add_flag("--defaults", given->defaults, "Print a commented customer file with all keys instead");
    command->add_flag("--markdown", given->markdown, "With --defaults: print a table for a document instead")
        ->needs(defaults);
    command->add_flag("--strict", given->strict, "Exit with 3 on warnings too");
    command->add_flag("--json", given->json, "Print JSON")->excludes(defaults);
    command->callback([given, exit_code] { *exit_code = run_check(*given); });
}

} // namespace qv6d
