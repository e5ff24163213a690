// qv6d simulate: the options of the simulator.

#include "commands/commands.h"
#include "commands/completion.h"
#include "commands/options.h"
#include "simulation/simulate.h"

#include <algorithm>
#include <functional>
#include <map>
#include <memory>

namespace qv6d
{

namespace
{

template <std::size_t N>
std::array<double, N> numbers_of(const std::string &option, const std::string &text)
{
    std::array<double, N> values;
    const std::string problem = parse_numbers(text, values.data(), N);
    if (!problem.empty())
        throw CLI::ValidationError(option, problem);
    return values;
}

offset_step step_of(const std::string &text)
{
    const auto [t, x, y, z] = numbers_of<4>("--step", text);
    return {t, {x, y, z}};
}

passing_field passing_of(const std::string &text)
{
    const auto [t, length, east, north, up] = numbers_of<5>("--disturb", text);
    if (length <= 0.0)
        throw CLI::ValidationError("--disturb", "expected a LENGTH above 0");
    return {t, length, {east, north, up}};
}

// An option that may be repeated.
CLI::Option *add_repeated(CLI::App *command, const std::string &name, const std::string &form,
                          const std::function<void(const std::string &)> &take, const std::string &help)
{
    const auto take_all = [take](const std::vector<std::string> &texts)
    { std::for_each(texts.begin(), texts.end(), take); };
    return command->add_option_function<std::vector<std::string>>(name, take_all, help)
        ->type_name(form)
        ->allow_extra_args(false);
}

const std::map<std::string, motion> MOTIONS = {
    {"tumble", motion::tumble}, {"figure8", motion::figure8}, {"gesture", motion::gesture}, {"yaw", motion::yaw},
    {"still", motion::still},   {"walk", motion::walk},       {"pocket", motion::pocket}};

constexpr const char *SIMULATE_FOOTER =
    "The recording has three sensors: acc, gyr and mag. A field of the magnetometer is the field of the earth, seen\n"
    "from the turned device, times the soft-iron matrix, plus the offset, plus noise. The same options always give "
    "the\n"
    "same recording; another --seed gives another movement and other noise.\n\n"
    "Motions:\n"
    "  tumble   turned by hand about all axes at random\n"
    "  figure8  waved in a figure of eight\n"
    "  gesture  lying level, waved in a figure of eight for 8 s once a minute\n"
    "  yaw      lying level, turned about the vertical only\n"
    "  still    at rest\n"
    "  walk     in a walker's hand\n"
    "  pocket   in a walker's trouser pocket\n\n"
    "Examples:\n"
    "  qv6d simulate --offset 120,-45,-300 -o phone.csv\n"
    "  qv6d simulate --motion figure8 --rate 100 --noise 0.5 --seed 7 -o wave.csv\n"
    "  qv6d simulate --motion gesture --duration 600 --step 300,40,0,-90 -o magnetised.csv\n"
    "  qv6d simulate --disturb 30,4,0,60,0 -o passing_car.csv\n"
    "  qv6d simulate --soft-iron 1.1,0,0,0,1,0,0,0,0.9 | qv6d replay -\n";

void add_movement(CLI::App *command, simulate_options *options)
{
    command
        ->add_option_function<std::string>(
            "--motion", [options](const std::string &name) { options->how = MOTIONS.at(name); },
            "How the device moves, see below")
        ->check(CLI::IsMember(MOTIONS))
        ->default_str("tumble");
    command
        ->add_option("--amplitude", options->amplitude,
                     "How far the device moves: 1 is the full movement, 0.2 a fifth. For tumble, figure8 and gesture")
        ->check(within(0.0, 10.0))
        ->capture_default_str();
    command->add_option("--heading", options->heading, "Where the device points at first, degrees clockwise from north")
        ->check(within(-360.0, 360.0))
        ->capture_default_str();
    command
        ->add_option_function<double>(
            "--rest-after", [options](double seconds) { options->rest_after = seconds; },
            "The device is put down after this many seconds")
        ->check(within(0.0, 1e6));
}

void add_sampling(CLI::App *command, simulate_options *options)
{
    command->add_option("--seed", options->seed, "Number that decides movement and noise")->capture_default_str();
    command->add_option("--rate", options->rate, "Events per second of each sensor")
        ->check(within(0.1, 10000.0))
        ->capture_default_str();
    command->add_option("--duration", options->duration, "Seconds")->check(within(0.0, 1e6))->capture_default_str();
    add_mag_unit(command, &options->counts);
}

void add_field(CLI::App *command, simulate_options *options)
{
    command->add_option("--field", options->field, "Field strength, µT")
        ->check(within(0.0, 1e6))
        ->capture_default_str();
    command->add_option("--dip", options->dip, "How far the field points below the horizon, degrees")
        ->check(within(-90.0, 90.0))
        ->capture_default_str();
    add_numbers(command, "--offset", &options->offset, "Hard-iron offset X,Y,Z in µT [0,0,0]");
    add_numbers(command, "--soft-iron", &options->soft_iron, "Soft-iron matrix, nine numbers row by row [identity]");
    command->add_option("--noise", options->noise, "Noise of the field, µT per axis")
        ->check(within(0.0, 1e6))
        ->capture_default_str();
}

void add_changes_of_field(CLI::App *command, simulate_options *options)
{
    add_repeated(
        command, "--step", "T,X,Y,Z", [options](const std::string &text) { options->steps.push_back(step_of(text)); },
        "After T seconds add X,Y,Z µT to the offset, as a magnet that stays does; may be repeated");
    add_repeated(
        command, "--disturb", "T,LENGTH,E,N,U",
        [options](const std::string &text) { options->passing.push_back(passing_of(text)); },
        "After T seconds something magnetic passes for LENGTH seconds. Its field grows to E,N,U µT (east, north, up) "
        "and fades again; may be repeated");
}

} // namespace

void add_simulate(CLI::App *app, exit_code *)
{
    const auto options = std::make_shared<simulate_options>();
    CLI::App *command = app->add_subcommand("simulate", "Write a recording of a device whose true offset is known");
    command->footer(with_exit_codes(SIMULATE_FOOTER, {{EXIT_MALFORMED, ""}, {EXIT_INPUT, ""}}));
    command->add_option("-o,--output", options->output, "Write the recording to this file, - for standard output")
        ->type_name(FILE_VALUE)
        ->capture_default_str();
    command
        ->add_option("--truth", options->truth,
                     "Write the true attitude to this file: t_ns,qw,qx,qy,qz, device to east, north, up")
        ->type_name(FILE_VALUE);
    add_movement(command, options.get());
    add_sampling(command, options.get());
    add_field(command, options.get());
    add_changes_of_field(command, options.get());
    command->callback([options] { simulate(*options); });
}

} // namespace qv6d
