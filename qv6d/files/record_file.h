// A record file as found: what it is, whether the library would read it, and if not, why.
#pragma once

#include "files/record_fields.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qv6d
{

struct record_file
{
    std::string path;
    record_type type;
    std::uint64_t size;             // of the file
    std::string record;             // as many bytes of the payload as there are
    bool intact;                    // by the library's own reading
    std::string damage;             // where and what; empty when intact
    std::vector<std::string> notes; // legal, but worth knowing

    record_view view() const
    {
        return {type, record};
    }

    bool has(const record_field &field) const
    {
        return view().has(field);
    }

    qvstorage_cfg configuration() const; // of an intact configuration backup
};

// Offset of the record in its file.
inline constexpr std::size_t RECORD_AT = 9;

std::size_t record_file_size(record_type type);

// Reads `path`, "-" for standard input, as the type given or the one that it shows. Throws qv6d::error when it cannot
// be read, or shows no type.
record_file read_record_file(const std::string &path, std::optional<record_type> type);

} // namespace qv6d
