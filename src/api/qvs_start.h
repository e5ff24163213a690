// The start-up behind QVS_initLib, with the files of the caller's choice. Not exported: for the project's own tools.
#pragma once

#include "qv6dalgo.h"

// Returns the result of qvalgo_init.
int32_t qvs_start(const char *custcfg, const char *cfgbak, const char *datbak);
