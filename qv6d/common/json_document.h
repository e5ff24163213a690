// The JSON that every command prints with --json: one envelope around the command's own figures.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace qv6d
{

// Of the shape that docs/qv6d.schema.json describes. It grows when a key goes or changes its meaning, not when one is
// added.
inline constexpr int JSON_SCHEMA = 1;

// What a command read.
struct json_input
{
    std::string path;
    std::string format; // code
    nlohmann::ordered_json options = nlohmann::ordered_json::object();
    std::optional<std::string> sha256 = {};
};

nlohmann::ordered_json json_of(const json_input &input);

// Null for a value that is not known or not finite.
nlohmann::ordered_json json_of(const std::optional<double> &value);
nlohmann::ordered_json null_if_empty(const std::string &text);

// Schema, program and command: what every document, and every line of several, begins with. The command adds `input`
// or `inputs`, and its figures.
nlohmann::ordered_json json_document(std::string_view command);

} // namespace qv6d
