#include "common/terminal.h"

#include "common/text.h"

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

void put(std::string_view text)
{
    std::fwrite(text.data(), 1, text.size(), stderr);
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

void say(std::string_view text)
{
    put(shown(text));
}

void say(const painted_text &text)
{
    put(text.text);
}

void note(const std::string &text)
{
    if (!quiet)
        say(fmt::format("qv6d: {}\n", text));
}

void show_progress(const std::string &text)
{
    put("\r\033[K" + text); // back to the first column, erase to the right
}

painted_text painted(colour in, std::string_view text, std::FILE *stream)
{
    if (!shows_colours(stream))
        return {shown(text)};
    const char *code = in == colour::red ? "31" : in == colour::yellow ? "33" : "32";
    return {fmt::format("\033[{}m{}\033[0m", code, shown(text))};
}

} // namespace qv6d
