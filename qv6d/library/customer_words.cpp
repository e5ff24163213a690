#include "library/customer_words.h"

#include "common/error.h"
#include "common/text.h"
#include "recordings/recording.h"

#include <algorithm>
#include <fmt/format.h>

namespace qv6d
{

namespace
{

constexpr std::size_t SAID_AT_MOST = 5;

constexpr std::pair<std::string_view, const char *> MEANINGS[] = {
    {"Could not parse", "there is no such key, so the line is passed over"},
    {"String could not distinguished", "the line is not of the form key = value, so it is passed over"},
    {"Could not find out value", "nothing stands after or before the \"=\""},
    {"StringBuf OverFlow", "a line is longer than 126 characters, or the file than 64 KiB"},
    {"Path is longer", "the path is too long, so the one before it stays"},
};

// Without the name of the file at the end: the library read a copy of the one that the person named.
std::string_view without_file(std::string_view complaint)
{
    const std::size_t in = complaint.rfind(") in "), check = complaint.rfind(" Check ");
    return complaint.substr(0, in != std::string_view::npos ? in + 1 : check);
}

std::string plain(std::string_view complaint)
{
    const auto meaning = std::ranges::find_if(MEANINGS, [&](const auto &m) { return complaint.starts_with(m.first); });
    const std::string said = fmt::format("\"{}\"", printable(without_file(complaint)));
    return meaning == std::end(MEANINGS) ? said : fmt::format("{}: {}", said, meaning->second);
}

bool is_meant_as_pair(std::string_view line)
{
    return line.find('=') != std::string_view::npos;
}

bool says_something(std::string_view line)
{
    return !trimmed(line).empty() && !line.starts_with('#') && !line.starts_with('%');
}

} // namespace

void expect_customer_file(const std::string &name, std::string_view text)
{
    const std::string_view first = text.substr(0, text.find('\n'));
    bool any = false;
    for (std::size_t begin = 0; begin < text.size();)
    {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        const std::string_view line = text.substr(begin, end - begin);
        if (says_something(line) && is_meant_as_pair(line))
            return;
        any = any || says_something(line);
        begin = end + 1;
    }
    if (any)
        throw error(EXIT_MALFORMED,
                    fmt::format("{}: {}: expected a customer file, lines of the form key = value", name,
                                is_recording_header(trimmed(first)) ? "is a recording" : "has no \"=\" in any line"));
}

std::vector<std::string> plain_words(const std::string &name, const std::vector<std::string> &complaints)
{
    std::vector<std::string> lines;
    for (const std::string &complaint : complaints)
    {
        if (lines.size() == SAID_AT_MOST && complaints.size() > SAID_AT_MOST + 1)
        {
            lines.push_back(fmt::format("{}: and {} more lines like these", name, complaints.size() - SAID_AT_MOST));
            break;
        }
        lines.push_back(fmt::format("{}: the library says {}", name, plain(complaint)));
    }
    return lines;
}

} // namespace qv6d
