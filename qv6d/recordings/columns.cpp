#include "recordings/columns.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <numbers>
#include <utility>

namespace qv6d
{

namespace
{

constexpr double STANDARD_GRAVITY = 9.80665; // m/s², of a standard g

bool contains(std::string_view text, std::string_view part)
{
    return text.find(part) != std::string_view::npos;
}

void replace_all(std::string *text, std::string_view from, std::string_view to)
{
    for (std::size_t at = text->find(from); at != std::string::npos; at = text->find(from, at + to.size()))
        text->replace(at, from.size(), to);
}

// A name in parts: "Magnetic field x (µT)" is the words "magnetic", "field", "x" and the unit "ut".
struct name_parts
{
    std::vector<std::string> words;
    std::string unit;

    std::string joined() const
    {
        std::string all;
        for (const std::string &word : words)
            all += (all.empty() ? "" : " ") + word;
        return all;
    }
};

name_parts take_apart(std::string_view column)
{
    std::string text = normalised(column);
    name_parts parts;
    if (const std::size_t open = text.find_first_of("(["); open != std::string::npos)
    {
        const std::size_t close = std::min(text.find_first_of(")]", open), text.size());
        parts.unit = text.substr(open + 1, close - open - 1);
        text.erase(open);
    }
    std::string word;
    for (const char c : text + ' ')
    {
        if (std::isalnum(static_cast<unsigned char>(c)) != 0)
            word += c;
        else if (!word.empty())
            parts.words.push_back(std::exchange(word, {}));
    }
    return parts;
}

std::optional<std::size_t> axis_of(const std::string &word)
{
    const std::size_t axis = word.empty() ? 3 : static_cast<std::size_t>(word.back() - 'x');
    return axis < 3 ? std::optional(axis) : std::nullopt;
}

std::optional<quantity> quantity_of_stem(const std::string &stem)
{
    static const std::map<std::string, quantity, std::less<>> short_names = {{"", quantity::unnamed},
                                                                             {"a", quantity::acc},
                                                                             {"g", quantity::gyr},
                                                                             {"w", quantity::gyr},
                                                                             {"m", quantity::mag}};
    const auto found = short_names.find(stem);
    return found != short_names.end() ? std::optional(found->second) : quantity_named(stem);
}

struct axis_column
{
    quantity what;
    std::string stem;
    std::size_t axis;
    std::string unit;
};

// "Gyroscope x", "x acceleration", "mag_y", "accelerometerAccelerationX", "mz", "z".
std::optional<axis_column> axis_column_of(name_parts parts)
{
    for (const bool whole_word : {true, false})
        for (std::size_t k = parts.words.size(); k-- > 0;)
        {
            std::string &word = parts.words[k];
            const auto axis = axis_of(word);
            if (!axis || (word.size() == 1) != whole_word)
                continue;
            std::string stem_word = word.substr(0, word.size() - 1);
            name_parts rest = parts;
            if (stem_word.empty())
                rest.words.erase(rest.words.begin() + static_cast<std::ptrdiff_t>(k));
            else
                rest.words[k] = stem_word;
            if (const auto what = quantity_of_stem(rest.joined()))
                return axis_column{*what, rest.joined(), *axis, parts.unit};
        }
    return std::nullopt;
}

std::optional<time_unit> unit_within(const name_parts &parts)
{
    if (const auto unit = time_unit_named(parts.unit))
        return unit;
    for (auto word = parts.words.rbegin(); word != parts.words.rend(); ++word)
        if (const auto unit = time_unit_named(*word))
            return unit;
    const std::string all = parts.joined();
    static constexpr std::pair<const char *, time_unit> ENDS[] = {
        {"nanos", time_unit::ns}, {"micros", time_unit::us}, {"millis", time_unit::ms}};
    for (const auto &[end, unit] : ENDS)
        if (all.ends_with(end))
            return unit;
    return std::nullopt;
}

std::optional<time_column> time_column_of(const name_parts &parts, std::size_t column)
{
    const std::string all = parts.joined();
    const bool named = contains(all, "time") || contains(all, "elapsed") || all == "t" || all.starts_with("t ");
    if (!named && !(parts.words.size() == 1 && time_unit_named(all)))
        return std::nullopt;
    return time_column{column, unit_within(parts)};
}

// The triple that the axis belongs to, with the columns that it has so far.
struct partial_triple
{
    triple what;
    unsigned axes = 0; // bit by bit
};

void add_axis(std::vector<partial_triple> *triples, const axis_column &part, std::size_t column)
{
    auto at =
        std::find_if(triples->begin(), triples->end(),
                     [&](const partial_triple &t) { return t.what.what == part.what && t.what.stem == part.stem; });
    if (at == triples->end())
        at = triples->insert(at, {{part.what, part.stem, part.unit, {}}, 0});
    if ((at->axes & (1u << part.axis)) != 0)
        return; // a second column of the same name
    at->what.columns[part.axis] = column;
    at->axes |= 1u << part.axis;
}

} // namespace

std::string normalised(std::string_view text)
{
    std::string lower(text);
    for (const auto &[from, to] : {std::pair{"\xEF\xBB\xBF", ""},
                                   {"\xC2\xB5", "u"},
                                   {"\xCE\xBC", "u"},
                                   {"\xC2\xB2", "2"},
                                   {"\xB5", "u"},
                                   {"\xB2", "2"},
                                   {"^2", "2"}}) // UTF-8 first, then Latin-1
        replace_all(&lower, from, to);
    for (char &c : lower)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return lower;
}

std::optional<quantity> quantity_named(std::string_view words)
{
    const auto has = [&](auto... parts) { return (contains(words, parts) || ...); };
    if (has("magnitude", "bias", "drift", "watch", "wrist", "headphone", "orientation", "quaternion", "vector"))
        return std::nullopt;
    if (has("linear", "user", "without"))
        return quantity::linear;
    if (has("gravity"))
        return quantity::gravity;
    if (has("mag", "field"))
        return quantity::mag;
    if (has("acc"))
        return quantity::acc;
    if (has("gyr", "angular", "rotation rate", "rotationrate"))
        return quantity::gyr;
    return std::nullopt;
}

column_names recognise_columns(const std::vector<std::string_view> &names)
{
    column_names found;
    std::vector<partial_triple> triples;
    for (std::size_t k = 0; k < names.size(); ++k)
    {
        const name_parts parts = take_apart(names[k]);
        if (const auto axis = axis_column_of(parts))
            add_axis(&triples, *axis, k);
        else if (const auto time = time_column_of(parts, k))
            found.times.push_back(*time);
        else if (const std::string all = parts.joined(); all == "sensor" || all == "sensor type" || all == "type")
            found.sensor = k;
    }
    for (const partial_triple &t : triples)
        if (t.axes == 7)
            found.triples.push_back(t.what);
    return found;
}

std::optional<double> unit_factor(quantity what, std::string_view unit)
{
    using units = std::map<std::string, double, std::less<>>;
    static const units field = {{"ut", 1.0},     {"microtesla", 1.0}, {"mt", 1e3},    {"nt", 1e-3},  {"t", 1e6},
                                {"tesla", 1e6},  {"gauss", 100.0},    {"g", 100.0},   {"gs", 100.0}, {"mg", 0.1},
                                {"mgauss", 0.1}, {"counts", 0.15},    {"count", 0.15}};
    static const units acceleration = {{"ms2", 1.0},
                                       {"m/s2", 1.0},
                                       {"m/s/s", 1.0},
                                       {"m s-2", 1.0},
                                       {"g", STANDARD_GRAVITY},
                                       {"gs", STANDARD_GRAVITY},
                                       {"mg", STANDARD_GRAVITY / 1e3}};
    static const units rate = {{"rad/s", 1.0},
                               {"rads", 1.0},
                               {"deg/s", std::numbers::pi / 180.0},
                               {"degs", std::numbers::pi / 180.0},
                               {"\xC2\xB0/s", std::numbers::pi / 180.0},
                               {"dps", std::numbers::pi / 180.0}};
    const units &all = what == quantity::mag || what == quantity::bias ? field
                       : what == quantity::gyr                         ? rate
                                                                       : acceleration;
    const auto found = all.find(unit);
    return found == all.end() ? std::nullopt : std::optional(found->second);
}

std::optional<time_unit> time_unit_named(std::string_view unit)
{
    static const std::map<std::string, time_unit, std::less<>> units = {{"s", time_unit::s},
                                                                        {"sec", time_unit::s},
                                                                        {"secs", time_unit::s},
                                                                        {"second", time_unit::s},
                                                                        {"seconds", time_unit::s},
                                                                        {"ms", time_unit::ms},
                                                                        {"msec", time_unit::ms},
                                                                        {"millisecond", time_unit::ms},
                                                                        {"milliseconds", time_unit::ms},
                                                                        {"millis", time_unit::ms},
                                                                        {"us", time_unit::us},
                                                                        {"microsecond", time_unit::us},
                                                                        {"microseconds", time_unit::us},
                                                                        {"micros", time_unit::us},
                                                                        {"ns", time_unit::ns},
                                                                        {"nanosecond", time_unit::ns},
                                                                        {"nanoseconds", time_unit::ns},
                                                                        {"nanos", time_unit::ns}};
    const auto found = units.find(unit);
    return found == units.end() ? std::nullopt : std::optional(found->second);
}

} // namespace qv6d
