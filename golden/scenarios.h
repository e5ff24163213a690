// Simulated recordings through the library, as a sensor service would feed them.
#pragma once

#include "ledger.h"

inline constexpr int SCENARIOS_MAX = 64;

// The library's files, in the present directory: customer file, configuration backup, data backup.
inline constexpr const char *SCENARIO_FILES[] = {"cust", "cfg", "dat"};

int scenario_count();
const char *scenario_name(int index);

// Once per process: the library keeps its state for as long.
void run_scenario(int index, findings *found, ledger *out);
