// What a person sees on the terminal beside the results: notes, progress and colour. All of the program, or none.
#pragma once

#include <cstdio>
#include <fmt/format.h>
#include <string>
#include <string_view>

namespace qv6d
{

// Safe to show as it is.
struct painted_text
{
    std::string text;
};

// --quiet: no notes and no progress from here on. Errors are still said.
void be_quiet();
bool is_quiet();

// A progress line has a place: standard error is a terminal, and nobody asked for quiet.
bool shows_progress();

// On standard error, safe to show. That nobody can read it changes nothing.
void say(std::string_view text);
void say(const painted_text &text);

// A line of its own on standard error, after the program's name.
void note(const std::string &text);

// In place of the line on standard error that the last call showed; nothing of it is left with an empty text.
void show_progress(const std::string &text);

enum class colour
{
    red,    // wrong: an error, a grade that is false
    yellow, // to be looked at: a warning, not calibrated
    green,  // as it should be
};

// The text in the colour, if the stream is a terminal that shows colours and the environment does not set NO_COLOR.
painted_text painted(colour in, std::string_view text, std::FILE *stream);

} // namespace qv6d

template <>
struct fmt::formatter<qv6d::painted_text> : fmt::formatter<std::string>
{
    auto format(const qv6d::painted_text &painted, fmt::format_context &context) const
    {
        return fmt::formatter<std::string>::format(painted.text, context);
    }
};
