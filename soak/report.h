// The outcome of a run, for a person and for machines.
#pragma once

#include "judge.h"

#include <string>

namespace soak
{

struct outcome
{
    double hours;
    std::uint64_t seed;
    double seconds; // taken
    std::uint64_t starts, resets;
    findings found;
    std::vector<check> checks;
};

std::string text(const outcome &done);
std::string json(const outcome &done);

} // namespace soak
