// Numbers as foreign files write them.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace qv6d
{

// Powers of ten of a second.
enum class time_unit : int
{
    s = 0,
    ms = -3,
    us = -6,
    ns = -9,
};

const char *name(time_unit unit);

// Nanoseconds of a decimal number with any number of digits, without a detour through floating point: times since 1970
// have 19 of them. Parts of a nanosecond are cut off. Nothing when it is no number or too large.
std::optional<std::int64_t> nanoseconds(std::string_view text, time_unit unit);

// With a decimal point or a decimal comma; nan and inf are numbers here. Nothing for anything else.
std::optional<double> number(std::string_view text);

// Whether a number was cut off before its last digit, as in "-" and "1.5E".
bool is_begun_number(std::string_view text);

// Whether a column says that there is no value.
bool is_missing(std::string_view text);

// The fields of a line, without blanks and quotes around them. A blank as delimiter stands for any run of blanks and
// tabs.
void split(std::string_view line, char delimiter, std::vector<std::string_view> *fields);

} // namespace qv6d
