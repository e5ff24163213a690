#include "commands.h"
#include "simulate.h"

#include <map>
#include <memory>

namespace qv6d
{

void add_simulate(CLI::App *app, int *)
{
    const auto options = std::make_shared<simulate_options>();
    static const std::map<std::string, motion> motions = {{"tumble", motion::tumble}, {"figure8", motion::figure8},
                                                          {"yaw", motion::yaw},       {"still", motion::still},
                                                          {"walk", motion::walk},     {"pocket", motion::pocket}};
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
            "Turned by hand at random, waved in a figure of eight, turned about the vertical only, at rest, in a "
            "walker's hand or pocket")
        ->check(CLI::IsMember(motions))
        ->default_str("tumble");
    command->add_option("--seed", options->seed, "Seed of motion and noise")->capture_default_str();
    command->add_option("--rate", options->rate, "Events per second of each sensor")
        ->check(within(0.1, 10000.0))
        ->capture_default_str();
    command->add_option("--duration", options->duration, "Seconds")->check(within(0.0, 1e6))->capture_default_str();
    command->add_option("--field", options->field, "Field strength, µT")
        ->check(within(0.0, 1e6))
        ->capture_default_str();
    command->add_option("--dip", options->dip, "Dip of the field below the horizon, degrees")
        ->check(within(-90.0, 90.0))
        ->capture_default_str();
    add_numbers(command, "--offset", &options->offset, "Hard-iron offset X,Y,Z in µT [0,0,0]");
    add_numbers(command, "--soft-iron", &options->soft_iron, "Soft-iron matrix, nine numbers row by row [identity]");
    command->add_option("--noise", options->noise, "Noise of the field, µT per axis")
        ->check(within(0.0, 1e6))
        ->capture_default_str();
    command->callback([options] { simulate(*options); });
}

} // namespace qv6d
