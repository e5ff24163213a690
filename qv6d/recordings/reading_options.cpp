#include "recordings/reading_options.h"

#include "common/error.h"
#include "common/text.h"

#include <fmt/format.h>
#include <map>

namespace qv6d
{

static std::optional<char> delimiter_named(const std::string &text)
{
    static const std::map<std::string, char> names = {
        {"comma", ','}, {"semicolon", ';'}, {"tab", '\t'}, {"\\t", '\t'}, {"space", ' '}};
    if (text.empty())
        return std::nullopt;
    if (const auto found = names.find(text); found != names.end())
        return found->second;
    if (text.size() != 1 || std::string_view("\"+-.0123456789").find(text.front()) != std::string_view::npos)
        throw error(EXIT_USAGE, fmt::format("--delimiter: expected one character, comma, semicolon, tab or space, "
                                            "found \"{}\"",
                                            printable(text)));
    return text.front();
}

static void take_unit(reading *all, const std::string &unit)
{
    if (unit == "opposite")
        all->opposite = true;
    else if (unit == "g" || unit == "ms2")
        all->acceleration = unit_factor(quantity::acc, unit);
    else if (unit == "rads" || unit == "degs")
        all->rate = unit_factor(quantity::gyr, unit);
    else if (const auto field = unit_factor(quantity::mag, unit))
        all->field = field;
    else
        throw error(EXIT_USAGE, fmt::format("--unit: expected one of {}; found \"{}\"", UNIT_NAMES, printable(unit)));
}

reading::reading(const reading_options &options)
    : columns(options.columns), unit(time_unit_named(options.time_unit)), delimiter(delimiter_named(options.delimiter))
{
    if (!options.time_unit.empty() && !unit)
        throw error(EXIT_USAGE,
                    fmt::format("--time-unit: expected s, ms, us or ns, found \"{}\"", printable(options.time_unit)));
    for (const std::string &name : options.units)
        take_unit(this, name);
}

std::optional<double> reading::factor(quantity what) const
{
    switch (what)
    {
    case quantity::mag:
    case quantity::bias:
        return field;
    case quantity::gyr:
        return rate;
    default:
        return acceleration;
    }
}

} // namespace qv6d
