// What ends a command: a message for a person and an exit code for a script.
#pragma once

#include <stdexcept>
#include <string>

namespace qv6d
{

enum exit_code : int
{
    EXIT_OK = 0,
    EXIT_UNEXPECTED = 1,
    EXIT_DIFFERENT = 1,     // two files that were compared, as diff and cmp have it
    EXIT_USAGE = 2,         // options that make no sense
    EXIT_MALFORMED = 3,     // a recording that does not read as one
    EXIT_INPUT = 4,         // a file that cannot be read
    EXIT_OUTPUT = 5,        // a file or directory that cannot be written
    EXIT_UNMET = 6,         // a requirement that was made of the result
    EXIT_INTERRUPTED = 130, // by SIGINT; the program adds other signals' numbers to 128, as shells do
};

class error : public std::runtime_error
{
public:
    error(exit_code code, const std::string &message) : std::runtime_error(message), code(code)
    {
    }

    const exit_code code;
};

} // namespace qv6d
