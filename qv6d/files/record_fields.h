// The fields of the library's two records, for display: names, units, values and words.
#pragma once

#include "storage/qvstorage.h"
#include "storage/qvstorage_keys.h"

#include <nlohmann/json_fwd.hpp>
#include <string>
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
    record_type record; // that it is a field of
    std::string name;
    std::size_t offset;
    key_kind kind;
    std::string unit;    // may be empty
    std::string meaning; // may be empty
    bool has_key;        // settable in the customer file, under its name

    std::size_t size() const;
};

// The bytes of a record, or as many as a damaged file has of them. Does not own them.
class record_view
{
public:
    record_view(const qvstorage_cfg &record);
    record_view(const qvstorage_bak &record);
    record_view(record_type type, std::string_view bytes);
    record_view(const record_field &only, std::string_view bytes); // of that field

    // The field is of this record, and all its bytes are there.
    bool has(const record_field &field) const;

    // Throws std::out_of_range for a field that it does not have.
    std::string_view bytes_of(const record_field &field) const;

private:
    record_type type_;
    std::string_view bytes_;
    std::size_t first_ = 0; // offset of the bytes in the record
};

// In the order of their offsets.
const std::vector<record_field> &record_fields(record_type type);

std::size_t record_size(record_type type);
const char *record_name(record_type type);

// The field's value in a record that has it: doubles in the fewest digits that read back as the same number, paths with
// unprintable characters escaped.
std::string value_text(const record_field &field, record_view record);
nlohmann::ordered_json value_json(const record_field &field, record_view record);

// What the value stands for; empty where a number is just a number.
std::string value_words(const record_field &field, record_view record);

// By bits; paths up to their ends.
bool same_value(const record_field &field, record_view a, record_view b);

// The defaults with this field's value of another configuration.
qvstorage_cfg defaults_with(const record_field &field, record_view other);

// Whether the library would discard a stored calibration for this field's values alone.
bool discards_calibration(const record_field &field, record_view a, record_view b);

} // namespace qv6d
