// qv6d check: what the library makes of a customer file, and a file with all keys to begin with.

#include "commands/commands.h"
#include "commands/completion.h"
#include "commands/options.h"
#include "common/error.h"
#include "common/json_document.h"
#include "common/output.h"
#include "common/terminal.h"
#include "common/text.h"
#include "files/customer_file.h"
#include "library/configuration.h"

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

int changed_fields(const customer_report &report)
{
    int changed = 0;
    for (const record_field &field : record_fields(record_type::configuration))
        changed += !same_value(field, report.base, report.result);
    return changed;
}

// Lines after the one that ended the reading.
int lines_not_read(const customer_report &report)
{
    return report.count(outcome::ended) == 0 ? 0 : report.line_count - report.lines.back().number;
}

void print_line(output *out, const std::string &file, const customer_line &line)
{
    if (line.result == outcome::taken)
    {
        const std::string now = value_text(*line.field, line.after());
        const std::string was = same_value(*line.field, line.before(), line.after())
                                    ? "as before"
                                    : "was " + value_text(*line.field, line.before());
        out->print("{}:{}: {} = {} ({})\n", file, line.number, line.field->name, now, was);
    }
    else if (line.result != outcome::skipped)
        out->print("{}:{}:{}: {}: {}\n", file, line.number, line.column, painted(colour::red, "not taken", stdout),
                   line.reason);
    for (const customer_warning &warning : line.warnings)
        out->print("{}:{}:{}: {}: {}\n", file, line.number, warning.column, painted(colour::yellow, "warning", stdout),
                   warning.text);
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
    out->print("{}: {} taken, {} not taken{}, {}; {} changed\n", file, counted(report.count(outcome::taken), "line"),
               not_taken, not_read > 0 ? fmt::format(", {} not read", not_read) : "",
               counted(report.warning_count(), "warning"), counted(changed_fields(report), "field"));
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
        entry["old"] = value_json(*line.field, line.before());
        entry["new"] = value_json(*line.field, line.after());
    }
    else if (line.result != outcome::skipped)
        entry["text"] = line.reason;
    entry["warnings"] = warnings;
    return entry;
}

const char *verdict(const customer_report &report)
{
    if (!report.all_taken())
        return "not_all_taken";
    return report.warning_count() > 0 ? "taken_with_warnings" : "taken";
}

void print_json(output *out, const std::string &file, const customer_report &report)
{
    json lines = json::array();
    for (const customer_line &line : report.lines)
        lines.push_back(line_json(line));
    json document = json_document("check");
    document["input"] = json_of(json_input{file, "customer"});
    document.update({{"verdict", verdict(report)},
                     {"taken", report.count(outcome::taken)},
                     {"not_taken", report.count(outcome::not_taken) + report.count(outcome::ended)},
                     {"not_read", lines_not_read(report)},
                     {"warnings", report.warning_count()},
                     {"changed_fields", changed_fields(report)},
                     {"lines", lines}});
    out->print("{}\n", json_text(document, 2));
}

// What stands above a key; its lines must be as short as any.
void print_key(output *out, const customer_key &key, const qvstorage_cfg &defaults, const qvstorage_cfg &start)
{
    const record_field &field = *customer_field(key.name);
    if (!field.meaning.empty())
        out->print("\n# {}{}\n", field.meaning, field.unit.empty() ? "" : fmt::format(" [{}]", field.unit));
    if (!same_value(field, defaults, start))
        out->print("# default {}, but QVS_initLib sets:\n", value_text(field, defaults));
    if (!key.compared)
        out->print("# a change keeps the stored calibration\n");
    out->print("{} = {}\n", field.name, value_text(field, start));
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

// The reference of docs/tuning.md.
void print_markdown(output *out)
{
    out->print("| key | default | unit | |\n|---|---|---|---|\n");
    const qvstorage_cfg defaults = default_configuration(), start = start_configuration();
    for (const customer_key &key : CUSTOMER_KEYS)
    {
        const record_field &field = *customer_field(key.name);
        const std::string value = value_text(field, start);
        const bool same = same_value(field, defaults, start);
        out->print("| `{}` | {}{} | {} | {}{} |\n", key.name, value,
                   same ? "" : fmt::format(" ({})", value_text(field, defaults)), field.unit,
                   field.meaning.empty() ? "the same row" : field.meaning,
                   key.compared ? "" : "; a change keeps the stored calibration");
    }
}

exit_code print_file_with_all_keys(bool as_markdown)
{
    output out("-");
    if (as_markdown)
        print_markdown(&out);
    else
        print_defaults(&out);
    out.finish();
    return EXIT_OK;
}

exit_code run_check(const check_arguments &given)
{
    if (given.defaults == !given.file.empty())
        throw error(EXIT_USAGE, "check: expected either a customer file or --defaults");
    if (given.defaults)
        return print_file_with_all_keys(given.markdown);
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
    "A customer file sets keys of the library, one key = value in a line. Each line of it is given to the library, as\n"
    "a device does at its start. What the library made of the line is printed, after the place of the line:\n"
    "  FILE:LINE: key = value (was OLD)            it is taken\n"
    "  FILE:LINE:COLUMN: not taken: why            it changes nothing; the reason says what to do\n"
    "  FILE:LINE:COLUMN: warning: why              it is taken, but probably not as you meant it\n"
    "Lines and columns count from 1, columns in bytes.\n\n"
    "Examples:\n"
    "  qv6d check --defaults >device.cfg           begin a file: all keys with their values, which change nothing yet\n"
    "  qv6d check device.cfg                       see what the library makes of it\n"
    "  qv6d check --strict device.cfg >/dev/null   test it before it ships: a warning fails too\n"
    "  qv6d check --json device.cfg                print JSON\n";

} // namespace

void add_check(CLI::App *app, exit_code *result)
{
    const auto given = std::make_shared<check_arguments>();
    CLI::App *command = app->add_subcommand("check", "Show what the library makes of every line of a customer file");
    command->footer(
        with_exit_codes(CHECK_FOOTER, {{EXIT_OK, "every line is taken"},
                                       {EXIT_MALFORMED, "a line is not taken; with --strict also after a warning"}}));
    command->add_option("file", given->file, "Customer file, - for standard input")->type_name(FILE_VALUE);
    CLI::Option *defaults =
        command->add_flag("--defaults", given->defaults, "Print a customer file with all keys and comments instead");
    command->add_flag("--markdown", given->markdown, "With --defaults: print the keys as a Markdown table")
        ->needs(defaults);
    command->add_flag("--strict", given->strict, "Exit with 3 on warnings too");
    command->add_flag("--json", given->json, "Print JSON")->excludes(defaults);
    command->callback([given, result] { *result = run_check(*given); });
}

} // namespace qv6d
