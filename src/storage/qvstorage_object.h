// The one process-wide storage object. Not exported: the driver alone hands it on.
#pragma once

#include "storage/qvstorage.h"

extern qvstorage qvstorage_object;
