// Operations exported by name that no recording reaches, on random arguments.
#pragma once

#include "ledger.h"

void run_operations(ledger *out);
