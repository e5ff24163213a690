#include "commands/options.h"

#include "common/digest.h"

#include "commands/completion.h"

#include <cmath>
#include <cstdlib>
#include <fmt/format.h>

namespace qv6d
{

static const std::map<exit_code, std::string> EXIT_CODES = {
    {EXIT_OK, "done"},
    {EXIT_UNEXPECTED, "unexpected failure"},
    {EXIT_USAGE, "wrong options"},
    {EXIT_MALFORMED, "a recording or customer file is malformed"},
    {EXIT_INPUT, "a file cannot be read"},
    {EXIT_OUTPUT, "a file cannot be written"},
    {EXIT_INTERRUPTED, "interrupted; nothing unfinished is left (129 after a hang-up, 143 after SIGTERM)"},
};

std::string with_exit_codes(const std::string &footer, std::map<exit_code, std::string> own)
{
    own.insert(EXIT_CODES.begin(), EXIT_CODES.end()); // leaves the command's own alone
    std::string text = footer + "\nExit codes:";
    for (const auto &[code, meaning] : own)
        if (!meaning.empty())
            text += fmt::format("\n  {:<5}{}", static_cast<int>(code), meaning);
    return text;
}

void add_replay_settings(CLI::App *command, replay_settings *settings)
{
    command
        ->add_option("recording", settings->recording,
                     "Recording to replay: a file, zip file or folder, - for standard input")
        ->required()
        ->type_name(FILE_VALUE);
    command->add_option("-c,--config", settings->config, "Customer file; it is copied into the state directory")
        ->type_name(FILE_VALUE);
    command
        ->add_option("-s,--state", settings->state,
                     "Directory that keeps customer file and record files; a second run resumes from it. Not the "
                     "directory of a device [default: a temporary one]")
        ->type_name(FOLDER_VALUE);
    command->add_option("-n,--every", settings->every, "Use only every Nth magnetometer event")
        ->check(within(1, 1e9))
        ->capture_default_str();
    add_mag_unit(command, &settings->counts);
    add_notify_gyro(command, &settings->notify_gyro);
    add_reading(command, &settings->reading, &settings->strict);
}

void add_reading(CLI::App *command, reading_options *reading, bool *strict)
{
    command->add_option(
        "--columns", reading->columns,
        "What the columns of a table are, by place (t,mx,my,mz,-,ax,ay,az) or by name (t=Time,mx=HX,...)");
    command->add_option("--time-unit", reading->time_unit, "Unit of the input's times")
        ->check(CLI::IsMember({"s", "ms", "us", "ns"}));
    command->add_option("--delimiter", reading->delimiter,
                        "What stands between the columns: one character, or comma, semicolon, tab, space");
    command->add_option("--unit", reading->units, std::string("Units of the input's values: ") + UNIT_NAMES)
        ->delimiter(',')
        ->allow_extra_args(false);
    command->add_flag("--strict", *strict, "Refuse an input of which something is strange, instead of warning");
}

json_input input_of(const replay_settings &settings, const std::string &format)
{
    return {settings.recording,
            format,
            {{"every", settings.every},
             {"config", null_if_empty(settings.config)},
             {"state", null_if_empty(settings.state)},
             {"mag_unit", settings.counts ? "counts" : "ut"},
             {"notify_gyro", settings.notify_gyro}},
            sha256_of_file(settings.recording)};
}

void add_mag_unit(CLI::App *command, bool *counts)
{
    command
        ->add_option_function<std::string>(
            "--mag-unit", [counts](const std::string &unit) { *counts = unit == "counts"; },
            "Unit of the magnetometer events: µT, or raw counts of 0.15 µT")
        ->check(CLI::IsMember({"ut", "counts"}))
        ->default_str("ut");
}

void add_notify_gyro(CLI::App *command, bool *notify)
{
    command->add_flag("--notify-gyro", *notify,
                      "Pass gyr events to qvalgo_notify_data too; a configuration with env.gyrthr needs them");
}

void add_report(CLI::App *command, std::string *name)
{
    command->add_option("--report", *name, "Write a report to this file: an HTML page that opens without a network")
        ->type_name(FILE_VALUE);
}

std::string parse_numbers(const std::string &text, double *values, std::size_t count)
{
    const char *at = text.c_str();
    for (std::size_t k = 0; k < count; ++k)
    {
        char *end = nullptr;
        values[k] = std::strtod(at, &end);
        if (end == at || !std::isfinite(values[k]) || *end != (k + 1 < count ? ',' : '\0'))
            return fmt::format("expected {} numbers with commas between them, found \"{}\"", count, text);
        at = end + 1;
    }
    return "";
}

CLI::Validator within(double low, double high)
{
    return CLI::Validator(
        [low, high](const std::string &text)
        {
            double value;
            const std::string problem = parse_numbers(text, &value, 1);
            const bool good = problem.empty() && value >= low && value <= high;
            return good ? "" : fmt::format("expected a number from {} to {}, found \"{}\"", low, high, text);
        },
        "");
}

} // namespace qv6d
