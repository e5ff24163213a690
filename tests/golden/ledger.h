// What the library puts out in a scenario, every value of it, boiled down to a hash per output. A process has one
// ledger: the library has one log.
#pragma once

#include "storage/qvstorage.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>

enum output
{
    INPUT,       // what the scenario feeds: when it differs, so does everything after it
    CALIBRATION, // what doCaliApi and caliApiGetOffset fill in
    STATUS,      // the backup record as it stands, without the inclination, and counters of the calibration
    LEARNT,      // the same and the average norm of the grading, which the lean way does not keep
    EXPORTED,    // the exported data and what the getters copy, without the orientation
    OPERATIONS,  // operations exported by name
    FILES,       // the record files' bytes, without the inclination
    // Through trigonometry: the same bits with the stand-in, near with the machine's functions.
    ORIENTATION, // degrees
    INCLINATION, // radians
    POLAR_ANGLE, // degrees; the calibration's, for the grade; kept as LEARNT's average
    LOG,         // debug lines, source line numbers left out; shows angles, too
    OUTPUTS
};

// Whether every value is printed; otherwise the angles are.
extern bool print_values;

// A line for each output that there was: scenario, output, hash.
void print_hashes(const char *scenario);

void add_bytes(output to, const void *bytes, std::size_t size);

// An angle in an output of its own kind, printed for the comparison of values.
void add_angle(output to, double value);

// The record without the inclination.
void add_status(output to, const qvstorage_bak &record);

// The inclination goes into INCLINATION.
void add_record(output to, const qvstorage_bak &record);

// A value that is not a number is one value: its sign and payload are the processor's choice.
void add_one(output to, double value);
void add_one(output to, std::int64_t value);

inline void add_one(output to, std::int32_t value)
{
    add_one(to, std::int64_t{value});
}

inline void add_one(output to, qvcrd_vec3 v)
{
    for (const double value : {v.x, v.y, v.z})
        add_one(to, value);
}

template <typename... T>
void add(output to, T... values)
{
    (add_one(to, values), ...);
}
