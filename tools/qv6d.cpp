// The command line: options and help of every command.

#include "error.h"
#include "replay.h"
#include "simulate.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <fmt/format.h>

namespace
{

constexpr const char *EXIT_CODES =
    "Exit codes: 0 done, 2 wrong options, 3 malformed recording, 4 a file cannot be read, "
    "5 a file cannot be written.";

std::string with_exit_codes(const char *footer)
{
    return fmt::format("{}\n{}", footer, EXIT_CODES);
}

// "X,Y,Z" as an option's value.
template <std::size_t N>
CLI::Option *add_numbers(CLI::App *command, const std::string &name, std::array<double, N> *values,
                         const std::string &help)
{
    return command
        ->add_option_function<std::vector<double>>(
            name, [values](const std::vector<double> &given) { std::copy_n(given.begin(), N, values->begin()); }, help)
        ->delimiter(',')
        ->expected(static_cast<int>(N));
}

void add_replay(CLI::App *app, qv6d::replay_options *options)
{
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
            qv6d::replay(*options);
        });
}

void add_simulate(CLI::App *app, qv6d::simulate_options *options)
{
    static const std::map<std::string, qv6d::motion> motions = {{"tumble", qv6d::motion::tumble},
                                                                {"figure8", qv6d::motion::figure8},
                                                                {"yaw", qv6d::motion::yaw},
                                                                {"still", qv6d::motion::still}};
    CLI::App *command = app->add_subcommand("simulate", "Write a recording of a device with known truth");
    command->footer(
        with_exit_codes("The same options give the same recording. A raw field is soft iron * field + offset + "
                        "noise.\n\n"
                        "Examples:\n"
                        "  qv6d simulate --offset 120,-45,-300 -o phone.csv\n"
                        "  qv6d simulate --motion figure8 --rate 100 --noise 0.5 --seed 7 -o wave.csv\n"
                        "  qv6d simulate --soft-iron 1.1,0,0,0,1,0,0,0,0.9 | qv6d replay -\n"));
    command->add_option("-o,--output", options->output, "Write the recording here, - for standard output")
        ->capture_default_str();
    command->add_option("--truth", options->truth, "Write the true attitude here: t_ns,qw,qx,qy,qz, device to ENU");
    command
        ->add_option_function<std::string>(
            "--motion", [options](const std::string &name) { options->how = motions.at(name); },
            "Turned by hand at random, waved in a figure of eight, turned about the vertical only, or at rest")
        ->check(CLI::IsMember(motions))
        ->default_str("tumble");
    command->add_option("--seed", options->seed, "Seed of motion and noise")->capture_default_str();
    command->add_option("--rate", options->rate, "Events per second of each sensor")
        ->check(CLI::Range(0.1, 10000.0))
        ->capture_default_str();
    command->add_option("--duration", options->duration, "Seconds")->check(CLI::Range(0.0, 1e6))->capture_default_str();
    command->add_option("--field", options->field, "Field strength, µT")->capture_default_str();
    command->add_option("--dip", options->dip, "Dip of the field below the horizon, degrees")->capture_default_str();
    add_numbers(command, "--offset", &options->offset, "Hard-iron offset X,Y,Z in µT [0,0,0]");
    add_numbers(command, "--soft-iron", &options->soft_iron, "Soft-iron matrix, nine numbers row by row [identity]");
    command->add_option("--noise", options->noise, "Noise of the field, µT per axis")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
    command->callback([options] { qv6d::simulate(*options); });
}

} // namespace

int main(int argc, char **argv)
{
    CLI::App app("qv6d: replay and make sensor recordings for libqv6dalgo");
    app.require_subcommand(1);
    app.footer("qv6d COMMAND --help teaches a command by example.");
    qv6d::replay_options replay_options;
    qv6d::simulate_options simulate_options;
    add_replay(&app, &replay_options);
    add_simulate(&app, &simulate_options);

    try
    {
        app.parse(argc, argv);
    }
    catch (const CLI::ParseError &e)
    {
        return app.exit(e) == 0 ? qv6d::EXIT_OK : qv6d::EXIT_USAGE;
    }
    catch (const qv6d::error &e)
    {
        fmt::print(stderr, "qv6d: {}\n", e.what());
        return e.code;
    }
    catch (const std::exception &e)
    {
        fmt::print(stderr, "qv6d: {}\n", e.what());
        return qv6d::EXIT_UNEXPECTED;
    }
    return qv6d::EXIT_OK;
}
