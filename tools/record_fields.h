// The fields of the library's two records, for display: names, units, values and words.
#pragma once

#include "storage/qvstorage.h"
#include "storage/qvstorage_keys.h"

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace qv6d
{

enum class record_type
{
    configuration,
    data,
};

// One number or path; matrices and vectors have a field per element, named "matrix[row][column]".
struct record_field
{
    std::string name;
    std::size_t offset; // in the record
    key_kind kind;
    std::string unit;    // may be empty
    std::string meaning; // may be empty
    bool has_key;        // settable in the customer file, under its name

    std::size_t size() const;
};

// In the order of their offsets.
const std::vector<record_field> &record_fields(record_type type);

std::size_t record_size(record_type type);
const char *record_name(record_type type);

// Doubles in the fewest digits that read back as the same number, paths with unprintable characters escaped.
std::string value_text(const record_field &field, const char *record);
nlohmann::ordered_json value_json(const record_field &field, const char *record);

// What the value stands for; empty where a number is just a number.
std::string value_words(const record_field &field, const char *record);

// By bits; paths up to their ends.
bool same_value(const record_field &field, const char *a, const char *b);

// Whether the library would discard a stored calibration for this field's values alone.
bool discards_calibration(const record_field &field, const char *a, const char *b);

std::string printable(std::string_view text);

// The library's defaults, and what QVS_initLib makes of them before the customer file.
qvstorage_cfg default_configuration();
qvstorage_cfg start_configuration();

} // namespace qv6d
