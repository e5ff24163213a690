#include "common/terminal.h"

#include <cstdlib>
#include <unistd.h>

namespace qv6d
{

namespace
{

bool quiet = false;

bool is_terminal(std::FILE *stream)
{
    return isatty(fileno(stream)) != 0;
}

bool shows_colours(std::FILE *stream)
{
    const char *no_color = std::getenv("NO_COLOR"), *terminal = std::getenv("TERM");
    return is_terminal(stream) && (no_color == nullptr || *no_color == '\0') && terminal != nullptr &&
           std::string_view(terminal) != "dumb";
}

} // namespace

void be_quiet()
{
    quiet = true;
}

bool is_quiet()
{
    return quiet;
}

bool shows_progress()
{
    return !quiet && is_terminal(stderr);
}

void note(const std::string &text)
{
    if (!quiet)
        fmt::print(stderr, "qv6d: {}\n", text);
}

std::string painted(colour in, std::string_view text, std::FILE *stream)
{
    if (!shows_colours(stream))
        return std::string(text);
    const char *code = in == colour::red ? "31" : in == colour::yellow ? "33" : "32";
    return fmt::format("\033[{}m{}\033[0m", code, text);
}

} // namespace qv6d
