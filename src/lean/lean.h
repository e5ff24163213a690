// The two steps of a sample without the work whose result nobody sees.
//
// They work on the library's own state, whose inside no caller reaches. Records, files and log are, bit for bit, those
// of the documented operations. The configuration alone decides which of the two ways a step goes. It changes with an
// initialisation only, which empties all filters and buffers: neither way finds them half filled by the other. Two
// things outlive an initialisation, and this way does not keep them up to date: the level of the acceleration, which
// the first documented step sets again while the filter fills, and the last quaternion, which is replaced in that step.
//
// In that state rbuf is filled from its end, and the filters acc and amaf only count their samples.
#pragma once

#include "env/qvenv.h"
#include "fusion/qvfusion.h"
#include "hcal/qvhcal.h"

// Whether lean_calibrate can stand for qvhcal_update.
bool lean_can_calibrate(const qvhcal_state *state);
int32_t lean_calibrate(qvhcal_state *state, int32_t gyrlevel, const qvcrd_vec3 &field, double gyrthr);

// Whether lean_orient can stand for the documented operations of qvalgo_update_fusion.
bool lean_can_orient(const qvenv_state *env);
void lean_orient(qvenv_state *env, qvfusion_state *fusion, qvalgo_fusion_out *out, const qvcrd_vec3 &acc,
                 const qvcrd_vec3 &field, double time);
