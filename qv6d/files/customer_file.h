// A customer file as the library takes it, line by line: every verdict is the library's own, by what it logs and
// changes.
#pragma once

#include "files/record_fields.h"

#include <string>
#include <vector>

namespace qv6d
{

struct customer_warning
{
    int column; // from 1, bytes
    std::string text;
};

struct customer_line
{
    enum class outcome
    {
        taken,
        skipped,   // comment or empty; kept for its warnings only
        not_taken, // reported and passed over
        ended,     // reading stops here
    };

    int number;     // from 1
    int column = 1; // of the key, or of what is wrong
    outcome result = outcome::taken;
    const record_field *field = nullptr;   // of a pair that was taken
    std::string bytes_before, bytes_after; // of the field, around the line
    std::string reason;                    // why it was not taken and what to do
    std::vector<customer_warning> warnings;

    record_view before() const
    {
        return {*field, bytes_before};
    }

    record_view after() const
    {
        return {*field, bytes_after};
    }
};

struct customer_report
{
    std::vector<customer_line> lines; // in the file's order, without what was skipped in silence
    int line_count = 0;               // of the file
    qvstorage_cfg base;               // before the file
    qvstorage_cfg result;             // after it

    bool all_taken() const;
    int count(customer_line::outcome result) const;
    int warning_count() const;
};

// The field of a customer key; null for any other name.
const record_field *customer_field(const std::string &key);

// Reads `path`, "-" for standard input, on top of what QVS_initLib sets. Throws qv6d::error when it cannot be read.
customer_report read_customer_file(const std::string &path);

// The same of a file's text.
customer_report read_customer_text(const std::string &text);

} // namespace qv6d
