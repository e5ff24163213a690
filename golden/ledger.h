// What the library puts out in a scenario, every value of it, boiled down to a hash per output.
#pragma once

#include "storage/qvstorage.h"

#include <cstddef>
#include <cstdint>

enum output
{
    INPUT,       // what the scenario feeds: when it differs, so does all behind it
    CALIBRATION, // what doCaliApi and caliApiGetOffset fill in
    LEARNT,      // the backup record as it stands, without the inclination, and counters of the calibration
    EXPORTED,    // the exported data and what the getters copy, without the orientation
    OPERATIONS,  // operations exported by name
    FILES,       // the record files' bytes, without the inclination
    // Through trigonometry: the same bits with the stand-in, near with the machine's functions.
    ORIENTATION, // degrees
    INCLINATION, // radians
    POLAR_ANGLE, // degrees; the calibration's, for the grade
    LOG,         // debug lines, source line numbers left out; shows angles, too
    OUTPUTS
};

const char *output_name(int what);

// Of a scenario; lies in memory shared between processes.
struct findings
{
    static constexpr int ANGLES_MAX = 16384;

    std::uint64_t hash[OUTPUTS]; // 0: nothing was put out
    struct
    {
        output what;
        double value;
    } angle[ANGLES_MAX];
    int angles;
    double margin; // degrees, of the polar angle from the limit at which it decides a grade, at its nearest
    bool complete;
};

class ledger
{
public:
    // Takes the library's log lines while it lives, unless they are not `wanted`. Prints every value when `verbose`.
    ledger(findings *found, bool log_wanted, bool verbose);
    ~ledger();

    ledger(const ledger &) = delete;
    ledger &operator=(const ledger &) = delete;

    template <typename... T>
    void add(output to, T... values)
    {
        (add_one(to, values), ...);
    }

    void add(output to, qvcrd_vec3 v)
    {
        add(to, v.x, v.y, v.z);
    }

    // An angle in an output of its own kind, for the comparison of values.
    void add_angle(output to, double value);

    void add_bytes(output to, const void *bytes, std::size_t size);

    // The inclination goes into INCLINATION.
    void add_record(output to, const qvstorage_bak &record);

    // Changes the text.
    void add_line(char *text);

private:
    void add_word(output to, std::uint64_t word);

    // A value that is not a number is one value: its sign and payload are the processor's choice.
    void add_one(output to, double value);
    void add_one(output to, float value);
    void add_one(output to, std::int64_t value);

    void add_one(output to, std::int32_t value)
    {
        add_one(to, static_cast<std::int64_t>(value));
    }

    findings *found_;
    bool verbose_;
};
