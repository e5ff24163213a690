// Simulated recordings through the library, as a sensor service would feed them.
#pragma once

#include "ledger.h"

// Whether the library's sine and its like are those of trigonometry.cpp or the machine's.
extern bool own_trigonometry;

// Null after the last one.
const char *scenario_name(int index);

// Once per process: the library keeps its state for as long. Its files are left in the present directory.
void run_scenario(int index);

// Operations exported by name that no recording reaches, on random arguments.
void run_operations();
