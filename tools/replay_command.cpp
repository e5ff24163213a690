#include "commands.h"
#include "replay.h"

#include <memory>

namespace qv6d
{

void add_replay(CLI::App *app, int *)
{
    const auto options = std::make_shared<replay_options>();
    CLI::App *command = app->add_subcommand("replay", "Put a recording through the library, as a sensor service would");
    command->footer(
        with_exit_codes("A recording is CSV in time order, either one event per line or all sensors per line:\n"
                        "  t_ns,sensor,x,y,z                    sensor acc (m/s²), gyr (rad/s) or mag (µT)\n"
                        "  t_ns,ax,ay,az,gx,gy,gz,mx,my,mz\n"
                        "Rows go to --output, else to standard output unless that is a terminal.\n\n"
                        "Examples:\n"
                        "  qv6d replay phone.csv                         see what the calibration makes of it\n"
                        "  qv6d replay phone.csv --output rows.csv       and keep every sample's results\n"
                        "  qv6d replay phone.csv --every 5               as if the magnetometer were slower\n"
                        "  qv6d replay phone.csv --config device.cfg     under a customer file\n"
                        "  qv6d replay phone.csv --state kept            twice: the second run resumes\n"));
    command->add_option("recording", options->recording, "Recording to replay, - for standard input")->required();
    command->add_option("-o,--output", options->output, "Write a row of results per magnetometer event here");
    command->add_option("-c,--config", options->config, "Customer file, copied into the state directory");
    command->add_option("-s,--state", options->state,
                        "Directory with customer file and record files; a second run with it resumes "
                        "[default: a temporary one]");
    command->add_option("-n,--every", options->every, "Use the Nth, 2Nth, ... magnetometer event")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    command
        ->add_option_function<std::string>(
            "--mag-unit", [options](const std::string &unit) { options->counts = unit == "counts"; },
            "Unit of the magnetometer events: µT, or raw counts of 0.15 µT")
        ->check(CLI::IsMember({"ut", "counts"}))
        ->default_str("ut");
    command->add_flag("--notify-gyro", options->notify_gyro,
                      "Also hand gyr events to qvalgo_notify_data, for configurations with env.gyrthr");
    auto truth = std::make_shared<std::array<double, 3>>();
    add_numbers(command, "--true-offset", truth.get(), "Known hard-iron offset X,Y,Z in µT, to compare with");
    command->add_option("--log", options->log, "Write the library's log here");
    command->add_flag("--json", options->json, "Print the summary as JSON");
    command->callback(
        [options, truth, command]
        {
            if (command->count("--true-offset") > 0)
                options->true_offset = *truth;
            replay(*options);
        });
}

} // namespace qv6d
