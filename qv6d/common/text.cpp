#include "common/text.h"

#include <algorithm>
#include <cctype>
#include <nlohmann/json.hpp>
#include <numeric>
#include <utility>
#include <vector>

namespace qv6d
{

std::string_view trimmed(std::string_view text)
{
    while (text.starts_with(' '))
        text.remove_prefix(1);
    while (text.ends_with(' ') || text.ends_with('\r'))
        text.remove_suffix(1);
    return text;
}

std::string printable(std::string_view text)
{
    std::string shown;
    for (const char c : text)
    {
        if (c == '\r')
            shown += "\\r";
        else if (c == '\t')
            shown += "\\t";
        else if (c < ' ' || c > '~') // beyond ASCII too: a terminal may take single bytes for commands
            shown += fmt::format("\\x{:02x}", static_cast<unsigned char>(c));
        else
            shown += c;
    }
    return shown;
}

namespace
{

struct character
{
    char32_t code;    // what the first bytes stand for, if they are UTF-8
    std::size_t size; // of it in bytes; 0 when they are not
};

character first_character(std::string_view text)
{
    static constexpr char32_t SMALLEST[] = {0, 0, 0x80, 0x800,
                                            0x10000}; // of so many bytes; a smaller one is a disguise
    const auto lead = static_cast<unsigned char>(text[0]);
    if (lead < 0x80)
        return {lead, 1};
    const std::size_t size = lead >= 0xF8 ? 0 : lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 0;
    if (size == 0 || text.size() < size)
        return {0, 0};
    char32_t code = lead & (0xFFu >> (size + 1));
    for (const char c : text.substr(1, size - 1))
    {
        if ((static_cast<unsigned char>(c) & 0xC0u) != 0x80)
            return {0, 0};
        code = code << 6 | (static_cast<unsigned char>(c) & 0x3Fu);
    }
    const bool valid = code >= SMALLEST[size] && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
    return {code, valid ? size : 0};
}

// Controls, and what changes the order in which the text is read.
bool is_command(char32_t code)
{
    return code < 0x20 || (code >= 0x7F && code < 0xA0) || code == 0x061C || code == 0x200E || code == 0x200F ||
           (code >= 0x2028 && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
}

std::string escaped(std::string_view bytes)
{
    if (bytes == "\r")
        return "\\r";
    std::string text;
    for (const char c : bytes)
        text += fmt::format("\\x{:02x}", static_cast<unsigned char>(c));
    return text;
}

} // namespace

std::string shown(std::string_view text)
{
    if (std::ranges::all_of(text, [](char c) { return c >= ' ' && c <= '~'; }))
        return std::string(text);
    std::string safe;
    while (!text.empty())
    {
        const auto [code, size] = first_character(text);
        const std::string_view bytes = text.substr(0, std::max<std::size_t>(1, size));
        const bool as_it_is = code == '\n' || code == '\t' || (size > 0 && !is_command(code));
        safe += as_it_is ? std::string(bytes) : escaped(bytes);
        text.remove_prefix(bytes.size());
    }
    return safe;
}

// Such characters stand within the strings of a document only, where their numbers mean the same.
std::string json_text(const nlohmann::ordered_json &value, int indent)
{
    const std::string text = value.dump(indent, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
    std::string safe;
    safe.reserve(text.size());
    for (std::string_view rest = text; !rest.empty();)
    {
        const auto [code, size] = first_character(rest);
        if (code != '\n' && is_command(code))
            safe += fmt::format("\\u{:04x}", static_cast<unsigned>(code));
        else
            safe += rest.substr(0, size);
        rest.remove_prefix(size);
    }
    return safe;
}

static bool same_letter(char a, char b)
{
    return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
}

std::size_t edit_distance(std::string_view a, std::string_view b)
{
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (const char c : a)
    {
        std::size_t diagonal = row[0]++;
        for (std::size_t j = 1; j < row.size(); ++j)
        {
            const std::size_t replaced = diagonal + (same_letter(c, b[j - 1]) ? 0 : 1);
            diagonal = std::exchange(row[j], std::min({row[j] + 1, row[j - 1] + 1, replaced}));
        }
    }
    return row.back();
}

} // namespace qv6d
