// The steps of the estimator over a buffer. Not exported.
#pragma once

#include "rlsm/qvrlsm.h"

// As qvrlsm_update with samples[n - 1] first and samples[0] last; n is at most QVRLSM_LSM_MAX.
void qvrlsm_update_all(qvrlsm_state *state, const qvcrd_vec3 *samples, int32_t n);
