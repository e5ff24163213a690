// What a person says of an input that does not say it itself, or says it wrongly.
#pragma once

#include "recordings/columns.h"

#include <optional>
#include <string>
#include <vector>

namespace qv6d
{

struct reading_options
{
    std::string columns;            // "t,mx,my,mz,-,ax" by position, or "t=Time,mx=Field X" by name
    std::string time_unit;          // s, ms, us, ns
    std::string delimiter;          // one character, or its name
    std::vector<std::string> units; // each belongs to one sensor: gauss, g, degs
};

// What --units may be, for messages.
inline constexpr const char *UNIT_NAMES =
    "ut, mt, nt, gauss, t, counts (field); ms2, g (acceleration); rads, degs (turn "
    "rate); opposite (acceleration that points down at rest)";

// The options as they are used. Factors lead to µT, m/s² and rad/s.
struct reading
{
    explicit reading(const reading_options &options); // Throws EXIT_USAGE.

    // Of a sample of this quantity, when a person said it.
    std::optional<double> factor(quantity what) const;

    std::string columns;
    std::optional<time_unit> unit;
    std::optional<char> delimiter;
    std::optional<double> field, acceleration, rate;
    bool opposite = false; // accelerations change their signs
};

} // namespace qv6d
