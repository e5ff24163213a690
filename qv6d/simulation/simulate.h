// qv6d simulate: a recording of a device with known truth.
#pragma once

#include "simulation/motion.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qv6d
{

// From a time on the hard iron is another.
struct offset_step
{
    double at;                // s
    std::array<double, 3> by; // microtesla
};

// Something magnetic passes the device: its field grows from nothing to the peak and fades again.
struct passing_field
{
    double from, length;        // s
    std::array<double, 3> peak; // microtesla, east, north, up
};

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
    double amplitude = 1.0;           // of the movement, where it has one
    double heading = 0.0;             // degrees, clockwise from north, of the y axis of a device that is not turned
    std::optional<double> rest_after; // s, from when on the device is not moved
    std::vector<offset_step> steps;
    std::vector<passing_field> passing;
    bool counts = false; // the magnetometer's events are whole counts, not microtesla
};

void simulate(const simulate_options &options);

} // namespace qv6d
