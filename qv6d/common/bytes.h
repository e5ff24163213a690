// A record as a string, to come back from a process.
#pragma once

#include "common/error.h"

#include <cstring>
#include <fmt/format.h>
#include <string>
#include <type_traits>

namespace qv6d
{

template <typename Record>
std::string bytes_of(const Record &record)
{
    static_assert(std::is_trivially_copyable_v<Record>);
    return {reinterpret_cast<const char *>(&record), sizeof record};
}

template <typename Record>
Record from_bytes(const std::string &bytes)
{
    static_assert(std::is_trivially_copyable_v<Record>);
    Record record;
    if (bytes.size() != sizeof record)
        throw error(EXIT_UNEXPECTED, fmt::format("a result has {} bytes instead of {}", bytes.size(), sizeof record));
    std::memcpy(static_cast<void *>(&record), bytes.data(), sizeof record);
    return record;
}

} // namespace qv6d
