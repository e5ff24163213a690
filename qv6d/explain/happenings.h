// What happened in a cycle, in words and figures.
#pragma once

#include "explain/cycles.h"

#include <string>
#include <vector>

namespace qv6d
{

// The figures of an outcome and of a reset; empty when there are none.
std::string figures(const cycle &c);
std::string figures_of_reset(const cycle &c);

// A full buffer was judged on its own account, rather than as the reason of a reset.
bool was_judged(const cycle &c);

// One line for each thing that happened in a cycle: the buffer's fate, a reset, a change of grade.
std::vector<std::string> happenings(const cycle &c, int previous_grade);

} // namespace qv6d
