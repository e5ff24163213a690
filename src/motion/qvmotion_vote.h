// The vote on movement without the samples. Not exported.
#pragma once

#include "motion/qvmotion.h"

// Fewer samples say nothing about scatter.
inline constexpr int32_t QVMOTION_SAMPLES_MIN = 3;

// Counts a sample as moving or not; returns the class in force then.
int32_t qvmotion_vote(qvmotion_state *state, bool moving);
