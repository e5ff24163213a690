// qv6d simulate: a recording of a device with known truth.
#pragma once

#include "motion.h"

#include <array>
#include <cstdint>
#include <string>

namespace qv6d
{

struct simulate_options
{
    std::string output = "-"; // the recording
    std::string truth;        // reference orientation, none when empty
    std::uint64_t seed = 1;
    double rate = 50.0;                                            // Hz, of each of the three sensors
    double duration = 60.0;                                        // s
    double field = 48.0;                                           // microtesla
    double dip = 60.0;                                             // degrees below the horizon
    std::array<double, 3> offset = {};                             // microtesla, hard iron
    std::array<double, 9> soft_iron = {1, 0, 0, 0, 1, 0, 0, 0, 1}; // row by row
    double noise = 0.1;                                            // microtesla, standard deviation per axis
    motion how = motion::tumble;
};

void simulate(const simulate_options &options);

} // namespace qv6d
