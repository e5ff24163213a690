// Options and help that several commands share.
#pragma once

#include "common/error.h"
#include "common/json_document.h"
#include "library/replay.h"

#include <CLI/CLI.hpp>
#include <array>
#include <map>
#include <string>

namespace qv6d
{

// The recording and the options of every command that replays one.
void add_replay_settings(CLI::App *command, replay_settings *settings);

// What a replay read and how, for its JSON.
json_input input_of(const replay_settings &settings, const std::string &format);

// --mag-unit: `counts` is set when the magnetometer events are raw counts.
void add_mag_unit(CLI::App *command, bool *counts);

// What a person says of the input's format, and --strict.
void add_reading(CLI::App *command, reading_options *reading, bool *strict);

void add_notify_gyro(CLI::App *command, bool *notify);
void add_report(CLI::App *command, std::string *name);

// A command's footer with the table of exit codes after it. `own` says what codes mean to this command; an empty
// meaning leaves the code out.
std::string with_exit_codes(const std::string &footer, std::map<exit_code, std::string> own = {});

// Finite numbers with commas between them, as one value of an option. Returns what is wrong with them.
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
