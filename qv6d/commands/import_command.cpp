// qv6d import: any recording that is known as a recording in our own format.

#include "commands/commands.h"
#include "commands/completion.h"
#include "commands/options.h"
#include "common/interrupt.h"
#include "common/json_document.h"
#include "common/output.h"
#include "common/terminal.h"
#include "common/text.h"
#include "recordings/plausibility.h"
#include "recordings/recording.h"

#include <memory>
#include <optional>

namespace qv6d
{

namespace
{

struct import_arguments
{
    std::string input, output;
    reading_options reading;
    bool strict = false;
    bool json = false;
};

void print_event(output *rows, const event &e)
{
    rows->print("{},{},{},{},{}\n", e.t_ns, name(e.kind), e.x, e.y, e.z);
}

std::string text_of(const import_arguments &given, const plausibility &input, std::uint64_t count)
{
    const std::string where = given.output.empty()  ? "; --output FILE.csv writes them as a recording of qv6d"
                              : given.output == "-" ? ""
                                                    : fmt::format(", written to {}", given.output);
    return fmt::format("{}\n  events      {}{}\n{}", given.input, count, where, input.text());
}

std::string json_of_import(const import_arguments &given, const plausibility &input, std::uint64_t count)
{
    const reading_options &said = given.reading;
    nlohmann::ordered_json document = json_document("import");
    document["input"] = json_of(json_input{given.input,
                                           input.origin().format,
                                           {{"columns", null_if_empty(said.columns)},
                                            {"time_unit", null_if_empty(said.time_unit)},
                                            {"delimiter", null_if_empty(said.delimiter)},
                                            {"unit", said.units}}});
    document["events"] = count;
    document["taken"] = input.origin().taken;
    document["decided"] = input.origin().decisions;
    document["plausibility"] = input.json();
    return json_text(document, 2) + "\n";
}

void print_findings(const import_arguments &given, const plausibility &input, std::uint64_t count)
{
    const std::string text = given.json ? json_of_import(given, input, count) : text_of(given, input, count);
    if (given.output == "-")
    {
        if (!is_quiet())
            say(text);
        return;
    }
    output screen("-");
    screen.print("{}", text);
    screen.finish();
}

void run_import(const import_arguments &given)
{
    if (given.json && given.output == "-")
        throw error(EXIT_USAGE, "--json and --output - would both write to standard output");
    refuse_overlap({given.input}, {given.output});
    recording events(given.input, given.reading);
    std::optional<output> rows;
    if (!given.output.empty())
        rows.emplace(given.output).print("{}\n", EVENT_HEADER);
    plausibility input;
    input.open(events.origin());
    std::uint64_t count = 0;
    for (event e; events.next(&e); ++count)
    {
        throw_if_interrupted();
        input.add(e, events.source().line());
        if (rows)
            print_event(&*rows, e);
    }
    input.close(events.source().remarks());
    if (given.strict)
        input.refuse_findings(given.input);
    if (count == 0)
        throw error(EXIT_MALFORMED, fmt::format("{}: holds no events", given.input));
    if (rows)
        rows->finish();
    print_findings(given, input, count);
}

constexpr const char *IMPORT_FOOTER =
    "Without --output, import says what it finds in the input and writes nothing. replay, explain and tune read the\n"
    "same inputs directly. docs/recordings.md says how to record with a phone.\n\n"
    "Examples:\n"
    "  qv6d import 2025-06-26/                          what is in this folder of Sensor Logger?\n"
    "  qv6d import export.zip --output phone.csv        make a recording of qv6d of it\n"
    "  qv6d import log.csv --columns t,mx,my,mz --time-unit ms --unit gauss -o phone.csv\n"
    "  qv6d import log.csv --columns t=Stamp,mx=HX,my=HY,mz=HZ -o - | qv6d replay -\n";

} // namespace

void add_import(CLI::App *app, exit_code *)
{
    const auto given = std::make_shared<import_arguments>();
    CLI::App *command =
        app->add_subcommand("import", "Make a recording of what another app wrote, or say what is in it");
    command->footer(with_exit_codes(IMPORT_FOOTER));
    command->add_option("input", given->input, "File, zip file or folder, - for standard input")
        ->required()
        ->type_name(FILE_VALUE);
    command->add_option("-o,--output", given->output, "Write the recording to this file, - for standard output")
        ->type_name(FILE_VALUE);
    add_reading(command, &given->reading, &given->strict);
    command->add_flag("--json", given->json, "Print what was found as JSON");
    command->callback([given] { run_import(*given); });
}

} // namespace qv6d
