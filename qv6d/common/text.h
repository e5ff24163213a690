// Small things about text.
#pragma once

#include <concepts>
#include <fmt/format.h>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

namespace qv6d
{

// Without the blanks around it, and without the carriage return that ends a line of some editors.
std::string_view trimmed(std::string_view text);

// Safe to show: control characters and everything beyond ASCII are escaped.
std::string printable(std::string_view text);

// Safe to show, with the letters of every language: what a terminal could take for a command, what turns the direction
// of the text and what is no UTF-8 is escaped. Line feeds and tabs stay.
std::string shown(std::string_view text);

// "1 buffer", "2 buffers".
std::string counted(std::integral auto count, std::string_view what)
{
    return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

// On one line, or with `indent` blanks per level. Bytes that are no text become the replacement character. Safe to
// show.
std::string json_text(const nlohmann::ordered_json &value, int indent = -1);

// How many characters must be inserted, deleted or replaced to make one of the other. Case does not count: a name typed
// in the wrong case is the name that was meant.
std::size_t edit_distance(std::string_view a, std::string_view b);

} // namespace qv6d
