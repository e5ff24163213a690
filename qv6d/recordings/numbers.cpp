#include "recordings/numbers.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>

namespace qv6d
{

namespace
{

constexpr std::string_view BLANKS = " \t\r";
constexpr std::size_t NUMBER_MAX_LENGTH = 64;

std::string_view bare(std::string_view text)
{
    const std::size_t begin = text.find_first_not_of(BLANKS);
    if (begin == std::string_view::npos)
        return {};
    return text.substr(begin, text.find_last_not_of(BLANKS) - begin + 1);
}

bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

// A decimal number in parts: digits * 10^exponent.
struct decimal
{
    bool negative = false;
    std::uint64_t digits = 0;
    int exponent = 0;
    bool any = false;
};

void take_digit(decimal *d, char c, bool fraction)
{
    constexpr std::uint64_t full = (std::numeric_limits<std::uint64_t>::max() - 9) / 10;
    d->any = true;
    if (d->digits > full) // more digits than count
        d->exponent += fraction ? 0 : 1;
    else
    {
        d->digits = d->digits * 10 + static_cast<std::uint64_t>(c - '0');
        d->exponent -= fraction ? 1 : 0;
    }
}

std::optional<decimal> take_decimal(std::string_view text)
{
    decimal d;
    d.negative = text.starts_with('-');
    if (text.starts_with('-') || text.starts_with('+'))
        text.remove_prefix(1);
    bool fraction = false;
    while (!text.empty() && (is_digit(text.front()) || (!fraction && (text.front() == '.' || text.front() == ','))))
    {
        if (is_digit(text.front()))
            take_digit(&d, text.front(), fraction);
        else
            fraction = true;
        text.remove_prefix(1);
    }
    if (d.any && !text.empty() && (text.front() == 'e' || text.front() == 'E'))
    {
        text.remove_prefix(text.size() > 2 && text[1] == '+' ? 2 : 1);
        int power = 0;
        const auto [end, status] = std::from_chars(text.data(), text.data() + text.size(), power);
        if (status != std::errc() || std::abs(power) > 1000)
            return std::nullopt;
        d.exponent += power;
        text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    }
    return d.any && text.empty() ? std::optional(d) : std::nullopt;
}

// Nothing when it does not fit.
std::optional<std::int64_t> whole(decimal d)
{
    constexpr auto most = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    for (; d.exponent > 0 && d.digits > 0; --d.exponent)
    {
        if (d.digits > most / 10)
            return std::nullopt;
        d.digits *= 10;
    }
    for (; d.exponent < 0 && d.digits > 0; ++d.exponent)
        d.digits /= 10;
    if (d.digits > most)
        return std::nullopt;
    const auto value = static_cast<std::int64_t>(d.digits);
    return d.negative ? -value : value;
}

std::optional<double> number_with_point(std::string_view text)
{
    double value = 0.0;
    const auto [end, status] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (end != text.data() + text.size())
        return std::nullopt;
    if (status == std::errc::result_out_of_range) // tells too small from too large
        return std::strtod(std::string(text).c_str(), nullptr);
    return status == std::errc() ? std::optional(value) : std::nullopt;
}

bool same_word(std::string_view a, std::string_view lower)
{
    return std::equal(a.begin(), a.end(), lower.begin(), lower.end(),
                      [](unsigned char x, unsigned char y) { return std::tolower(x) == y; });
}

std::string_view take_quoted(std::string_view *line)
{
    line->remove_prefix(1);
    std::size_t end = line->find('"');
    while (end != std::string_view::npos && end + 1 < line->size() && (*line)[end + 1] == '"') // a quote within
        end = line->find('"', end + 2);
    const std::string_view field = line->substr(0, end);
    line->remove_prefix(end == std::string_view::npos ? line->size() : end + 1);
    return bare(field);
}

std::size_t skip_blanks(std::string_view *line, std::string_view blanks)
{
    const std::size_t count = std::min(line->find_first_not_of(blanks), line->size());
    line->remove_prefix(count);
    return count;
}

void split_at_blanks(std::string_view line, std::vector<std::string_view> *fields)
{
    for (skip_blanks(&line, BLANKS); !line.empty(); skip_blanks(&line, BLANKS))
    {
        const std::string_view field = line.substr(0, line.find_first_of(BLANKS));
        fields->push_back(field);
        line.remove_prefix(field.size());
    }
}

} // namespace

const char *name(time_unit unit)
{
    switch (unit)
    {
    case time_unit::ms:
        return "ms";
    case time_unit::us:
        return "us";
    case time_unit::ns:
        return "ns";
    case time_unit::s:
        break;
    }
    return "s";
}

std::optional<std::int64_t> nanoseconds(std::string_view text, time_unit unit)
{
    auto d = take_decimal(bare(text));
    if (!d)
        return std::nullopt;
    d->exponent += 9 + static_cast<int>(unit);
    return whole(*d);
}

std::optional<double> number(std::string_view text)
{
    text = bare(text);
    if (text.starts_with('+') && text.size() > 1 && text[1] != '-')
        text.remove_prefix(1);
    if (text.empty() || text.size() > NUMBER_MAX_LENGTH)
        return std::nullopt;
    const std::size_t comma = text.find(',');
    if (comma == std::string_view::npos)
        return number_with_point(text);
    if (text.find('.') != std::string_view::npos || text.find(',', comma + 1) != std::string_view::npos)
        return std::nullopt; // thousands are told apart from fractions by nothing
    std::array<char, NUMBER_MAX_LENGTH> pointed;
    std::copy(text.begin(), text.end(), pointed.begin());
    pointed[comma] = '.';
    return number_with_point({pointed.data(), text.size()});
}

bool is_begun_number(std::string_view text)
{
    return !text.empty() && std::string_view("-+eE").find(text.back()) != std::string_view::npos &&
           number(std::string(text) + '0');
}

bool is_missing(std::string_view text)
{
    text = bare(text);
    return text.empty() || text == "-" || same_word(text, "null") || same_word(text, "na") || same_word(text, "none");
}

void split(std::string_view line, char delimiter, std::vector<std::string_view> *fields)
{
    fields->clear();
    if (delimiter == ' ')
        return split_at_blanks(line, fields);
    const std::string_view blanks = delimiter == '\t' ? " \r" : BLANKS;
    for (;;)
    {
        skip_blanks(&line, blanks);
        const bool quoted = line.starts_with('"');
        const std::string_view inside = quoted ? take_quoted(&line) : std::string_view();
        const std::size_t end = line.find(delimiter);
        fields->push_back(quoted ? inside : bare(line.substr(0, end)));
        if (end == std::string_view::npos)
            return;
        line.remove_prefix(end + 1);
    }
}

} // namespace qv6d
