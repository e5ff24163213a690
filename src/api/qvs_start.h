// The start-up behind QVS_initLib, with the files of the caller's choice. Not exported: for the project's own tools.
#pragma once

#include "qv6dalgo.h"

// The files of QVS_initLib.
inline constexpr const char *QVS_INIT_CUSTCFG = "/data/qvsd/qvalgo-cust.cfg";
inline constexpr const char *QVS_INIT_CFGBAK = "/data/qvsd/qvalgo-cust.cfgbak";
inline constexpr const char *QVS_INIT_DATBAK = "/data/qvsd/qvalgo-cust.datbak";

// The setters' part of it: what a customer file is applied on top of.
void qvs_configure(const char *custcfg, const char *cfgbak, const char *datbak);

// Returns the result of qvalgo_init.
int32_t qvs_start(const char *custcfg, const char *cfgbak, const char *datbak);
