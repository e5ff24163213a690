// The two steps of a sample without the work whose result nobody sees.
//
// They work on the library's own state, whose inside no caller reaches. Records, files and log are, bit for bit, those
// of the documented operations. The configuration alone decides which of the two ways a step goes. It changes with an
// initialisation only, which empties all filters and buffers, so that what one way keeps is never missed by the other.
#pragma once

#include "storage/qvstorage.h"

// Whether lean_calibrate can stand for qvhcal_update.
bool lean_can_calibrate(const qvhcal_state *state);
int32_t lean_calibrate(qvhcal_state *state, int32_t gyrlevel, const qvcrd_vec3 &field, double gyrthr);

// Whether lean_orient can stand for the documented operations of qvalgo_update_fusion.
bool lean_can_orient(const qvstorage *storage);
void lean_orient(qvstorage *storage, qvalgo_fusion_out *out, const qvcrd_vec3 &acc, const qvcrd_vec3 &field,
                 double time);
