// Simulated recordings through the library, as a sensor service would feed them.
#pragma once

#include "ledger.h"

// Whether the library's sine and its like are those of trigonometry.cpp or the machine's.
extern bool own_trigonometry;

// Whether the documented operations do the work that the lean way leaves out.
extern bool documented_way;

// Whether the log's lines are put out. They show angles, and the documented way adds debug lines to them.
extern bool log_is_seen;

// Null after the last one.
const char *scenario_name(int index);

// Once per process: the library keeps its state for as long. Its files are left in the present directory.
void run_scenario(int index);

// Operations exported by name that no recording reaches, on random arguments.
void run_operations();
