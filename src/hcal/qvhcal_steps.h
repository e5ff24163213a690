// Steps of a cycle that qvhcal_update and the lean cycle share. Not exported.
#pragma once

#include "hcal/qvhcal.h"

// Takes over the class of movement; noise clears the calibration.
void qvhcal_take_movement(qvhcal_state *state, int32_t movement);

// Evaluates the buffer if it is full. Returns 0 when an offset was validated, otherwise -1.
int32_t qvhcal_evaluate(qvhcal_state *state);

// Removes the offset from the field and smooths what is left.
qvcrd_vec3 qvhcal_cancel(qvhcal_state *state, qvcrd_vec3 field);

// The grade for an averaged norm that lies so far from the radius, and for the averaged polar angle. `raw` becomes the
// grade before the policy, for the log.
int32_t qvhcal_grade(qvhcal_state *state, double distance, double angle, int32_t *raw);

// Publishes grade and field, and with a rising grade the estimator's solution.
void qvhcal_publish(qvhcal_state *state, qvcrd_vec3 field, int32_t grade);
