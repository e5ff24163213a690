// The customer keys, from the one list in qvstorage_keys.def: what parser, comparison and tools read.
#pragma once

#include "storage/qvstorage.h"

#include <cstddef>

enum class key_kind
{
    real,
    integer,
    integer_at_most_40,
    path,
};

struct customer_key
{
    const char *name;
    std::size_t offset; // of the field in the configuration record
    key_kind kind;
    bool compared; // a change discards the stored calibration
};

// Characters of the longest line of a customer file that is taken, its newline included.
inline constexpr std::size_t CUSTOMER_LINE_MAX = 126;

// Bytes that are read of a customer file: ten times the longest line of every key. Each line may be logged, so a longer
// file would flood the log and hold the start up.
inline constexpr std::size_t CUSTOMER_FILE_MAX = 65536;

inline constexpr std::size_t CUSTOMER_KEY_COUNT = 47;
extern const customer_key CUSTOMER_KEYS[CUSTOMER_KEY_COUNT];

// Exact, case-sensitive; null when there is no such key.
const customer_key *find_customer_key(const char *name);
