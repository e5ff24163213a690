// The commands. Each adds itself to the program.
#pragma once

#include "common/error.h"

#include <CLI/CLI.hpp>

namespace qv6d
{

// `result` is what the program ends with after the command did its work. A command that fails throws qv6d::error.
void add_check(CLI::App *app, exit_code *result);
void add_explain(CLI::App *app, exit_code *result);
void add_import(CLI::App *app, exit_code *result);
void add_inspect(CLI::App *app, exit_code *result);
void add_replay(CLI::App *app, exit_code *result);
void add_simulate(CLI::App *app, exit_code *result);
void add_tune(CLI::App *app, exit_code *result);

} // namespace qv6d
