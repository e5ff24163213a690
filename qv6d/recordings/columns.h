// What the columns of a foreign file hold, by their names or by the names of the files.
#pragma once

#include "recordings/numbers.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qv6d
{

// What can be measured along three axes.
enum class quantity
{
    acc, // with gravity
    gyr,
    mag,
    bias,
    gravity, // alone
    linear,  // acceleration without gravity
    unnamed, // x, y, z: the file's name has to tell
};

// Three columns.
struct triple
{
    quantity what;
    std::string stem; // of the columns' names: "magnetic field"
    std::string unit; // as the names have it in brackets; empty: not said
    std::array<std::size_t, 3> columns;
};

struct time_column
{
    std::size_t column;
    std::optional<time_unit> unit;
};

struct column_names
{
    std::vector<time_column> times;
    std::vector<triple> triples;
    std::optional<std::size_t> sensor; // column that names the sensor of each row
};

// Lower case, with "u" for both mu signs and "2" for "²" and "^2", whatever their encoding; without a byte order mark.
std::string normalised(std::string_view text);

column_names recognise_columns(const std::vector<std::string_view> &names);

// By a word such as "Magnetometer" or "acc", of a column, a file or a row. Nothing for anything else.
std::optional<quantity> quantity_named(std::string_view normalised_words);

// What a unit's name multiplies to get the unit of a recording: µT, m/s², rad/s. Nothing when the quantity has no such
// unit. Names are normalised.
std::optional<double> unit_factor(quantity what, std::string_view unit);

std::optional<time_unit> time_unit_named(std::string_view unit);

} // namespace qv6d
