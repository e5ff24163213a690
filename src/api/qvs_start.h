// The start-up of QVS_initLib with files of the caller's choice. Not exported: the project's tools and tests use it.
#pragma once

#include <cstdint>

// The setters' part of the start-up: the configuration that a customer file is applied to.
void qvs_configure(const char *custcfg, const char *cfgbak, const char *datbak);

// Returns the result of qvalgo_init.
int32_t qvs_start(const char *custcfg, const char *cfgbak, const char *datbak);
