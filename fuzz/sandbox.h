// Where a fuzzed library lives: files in memory, so that no path from an input reaches the disk and every write can be
// made to fail, and a log that keeps the last lines for a claim about them.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

namespace sandbox
{

// By path. What the library opens for reading must be in here; what it writes appears.
extern std::map<std::string, std::string, std::less<>> files;

// Bytes that any one file takes before writes to it fail.
inline constexpr std::size_t NO_LIMIT = 1 << 20;
extern std::size_t size_limit;

// Forgets files and lines, and puts the library into the state of a process that has just loaded it.
void reset();

// Whether a line logged since the last call of this function contains the text.
bool logged(std::string_view text);

// Ends the process with a message, which the fuzzer keeps with the input: a claim about the library does not hold.
void claim(bool holds, const char *what);

} // namespace sandbox
