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
void add_check(CLI::App *app, int *exit_code);
void add_inspect(CLI::App *app, int *exit_code);
void add_replay(CLI::App *app, int *exit_code);
void add_simulate(CLI::App *app, int *exit_code);
void add_tune(CLI::App *app, int *exit_code);

// --report, for the commands that have one.
void add_report_option(CLI::App *command, std::string *name);

struct replay_settings;

// The recording and the options of every command that replays one.
void add_replay_settings(CLI::App *command, replay_settings *settings);

// A command's footer with the exit codes behind it.
std::string with_exit_codes(const std::string &footer);

// Finite numbers with commas between them, as one value of an option.
std::string parse_numbers(const std::string &text, double *values, std::size_t count);

template <std::size_t N>
CLI::Option *add_numbers(CLI::App *command, const std::string &name, std::array<double, N> *values,
                         const std::string &help)
{
    return command
        ->add_option_function<std::string>(
            name, [values](const std::string &text) { parse_numbers(text, values->data(), N); }, help)
        ->type_name(N == 3 ? "X,Y,Z" : "N,N,...")
        ->check(
            [](const std::string &text)
            {
                std::array<double, N> unused;
                return parse_numbers(text, unused.data(), N);
            });
}

// For a number that must be finite and within bounds.
CLI::Validator within(double low, double high);

} // namespace qv6d
