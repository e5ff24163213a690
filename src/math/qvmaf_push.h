// The push of many samples into a filter at once. Not exported.
#pragma once

#include "math/qvmaf.h"

// As qvmaf_run with samples[0] first, without the means. The filter has QVMAF_ITEM_MAX components; count is below
// QVMAF_ORDER_MAX.
void qvmaf_push_all(qvmaf *filter, const double (*samples)[QVMAF_ITEM_MAX], int32_t count);
