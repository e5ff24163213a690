#include "commands.h"
#include "simulate.h"

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

// An option that may be given again and again.
CLI::Option *add_repeated(CLI::App *command, const std::string &name, const std::string &form,
                          const std::function<void(const std::string &)> &take, const std::string &help)
{
    const auto take_all = [take](const std::vector<std::string> &texts)
    { std::for_each(texts.begin(), texts.end(), take); };
    return command->add_option_function<std::vector<std::string>>(name, take_all, help)
        ->type_name(form)
        ->allow_extra_args(false);
}

void add_happenings(CLI::App *command, simulate_options *options)
{
    add_repeated(
        command, "--step", "T,X,Y,Z", [options](const std::string &text) { options->steps.push_back(step_of(text)); },
        "From T seconds on the offset is X,Y,Z µT more; may be repeated");
    add_repeated(
        command, "--disturb", "T,LENGTH,E,N,U",
        [options](const std::string &text) { options->passing.push_back(passing_of(text)); },
        "From T on something passes within LENGTH seconds, whose field grows to E,N,U µT east, north and up and fades "
        "again; may be repeated");
    command
        ->add_option_function<double>(
            "--rest-after", [options](double seconds) { options->rest_after = seconds; },
            "The device is not moved any more after so many seconds")
        ->check(within(0.0, 1e6));
}

} // namespace

void add_simulate(CLI::App *app, int *)
{
    const auto options = std::make_shared<simulate_options>();
    static const std::map<std::string, motion> motions = {
        {"tumble", motion::tumble}, {"figure8", motion::figure8}, {"gesture", motion::gesture}, {"yaw", motion::yaw},
        {"still", motion::still},   {"walk", motion::walk},       {"pocket", motion::pocket}};
    CLI::App *command = app->add_subcommand("simulate", "Write a recording of a device with known truth");
    command->footer(
        with_exit_codes("The same options give the same recording. A raw field is soft iron * field + offset + "
                        "noise.\n\n"
                        "Examples:\n"
                        "  qv6d simulate --offset 120,-45,-300 -o phone.csv\n"
                        "  qv6d simulate --motion figure8 --rate 100 --noise 0.5 --seed 7 -o wave.csv\n"
                        "  qv6d simulate --motion gesture --duration 600 --step 300,40,0,-90 -o magnetised.csv\n"
                        "  qv6d simulate --disturb 30,4,0,60,0 -o passing_car.csv\n"
                        "  qv6d simulate --soft-iron 1.1,0,0,0,1,0,0,0,0.9 | qv6d replay -\n"));
    command->add_option("-o,--output", options->output, "Write the recording here, - for standard output")
        ->capture_default_str();
    command->add_option("--truth", options->truth, "Write the true attitude here: t_ns,qw,qx,qy,qz, device to ENU");
    command
        ->add_option_function<std::string>(
            "--motion", [options](const std::string &name) { options->how = motions.at(name); },
            "Turned by hand at random, waved in a figure of eight, lying and waved for 8 s once a minute, turned about "
            "the vertical only, at rest, in a walker's hand or pocket")
        ->check(CLI::IsMember(motions))
        ->default_str("tumble");
    command->add_option("--amplitude", options->amplitude, "Share of the full movement of tumble, figure8 and gesture")
        ->check(within(0.0, 10.0))
        ->capture_default_str();
    command->add_option("--heading", options->heading, "Degrees that all of it is turned, clockwise from above")
        ->check(within(-360.0, 360.0))
        ->capture_default_str();
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
    add_happenings(command, options.get());
    command
        ->add_option_function<std::string>(
            "--mag-unit", [options](const std::string &unit) { options->counts = unit == "counts"; },
            "Unit of the magnetometer events: µT, or whole counts of 0.15 µT as a sensor has them")
        ->check(CLI::IsMember({"ut", "counts"}))
        ->default_str("ut");
    command->callback([options] { simulate(*options); });
}

} // namespace qv6d
