// What the targets of the tool's readers claim of any foreign bytes: they are read, or refused with an error that a
// terminal can show.
#pragma once

#include "common/error.h"
#include "common/scratch_file.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

namespace qv6d
{

inline void claim(bool holds)
{
    if (!holds)
        std::abort();
}

// Nothing that a terminal obeys.
inline void claim_shown(std::string_view text)
{
    for (const char c : text)
        claim(c == '\n' || c < 0 || (c >= ' ' && c != 0x7F));
}

// The path of a file with these bytes, until the next call.
inline const std::string &foreign_file(std::string_view bytes)
{
    static scratch_file file;
    file.write(bytes);
    return file.path();
}

template <typename Read>
void read_or_refuse(Read read)
{
    try
    {
        read();
    }
    catch (const error &e)
    {
        claim(e.code == EXIT_MALFORMED || e.code == EXIT_USAGE || e.code == EXIT_INPUT);
        claim_shown(e.what());
    }
}

} // namespace qv6d
