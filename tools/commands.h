// The commands' options and help. Each adds its command to the program.
#pragma once

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <string>
#include <vector>

namespace qv6d
{

// `exit_code` is what the program ends with when the command did its work; a command that fails throws qv6d::error.
void add_explain(CLI::App *app, int *exit_code);
void add_replay(CLI::App *app, int *exit_code);
void add_simulate(CLI::App *app, int *exit_code);

struct replay_settings;

// The recording and the options of every command that replays one.
void add_replay_settings(CLI::App *command, replay_settings *settings);

// A command's footer with the exit codes behind it.
std::string with_exit_codes(const std::string &footer);

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

} // namespace qv6d
