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

std::string json_text(const nlohmann::ordered_json &value, int indent)
{
    return value.dump(indent, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
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
