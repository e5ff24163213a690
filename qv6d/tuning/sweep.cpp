#include "tuning/sweep.h"

#include "common/error.h"
#include "common/text.h"
#include "files/customer_file.h"
#include "library/configuration.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <fmt/format.h>
#include <utility>

namespace qv6d
{

namespace
{

constexpr std::uint64_t VALUES_MAX = 100000;        // of one key
constexpr std::uint64_t COMBINATIONS_MAX = 1000000; // of one run: about 100 MB of results
constexpr double SCALE_MAX = 1e22;                  // the largest power of ten that is a double
constexpr double EXACT_MAX = 0x1p53;                // integers up to here are doubles

[[noreturn]] void refuse_sweep(const std::string &message)
{
    throw error(EXIT_USAGE, printable(message));
}

double number(const std::string &name, std::string_view text)
{
    double value = 0.0;
    const auto [end, status] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (status != std::errc() || end != text.data() + text.size() || !std::isfinite(value))
        refuse_sweep(fmt::format("{}: expected a number or from:to:step, found \"{}\"", name, text));
    return value;
}

bool is_decimal(double value, double scale)
{
    const double scaled = value * scale;
    return std::fabs(scaled - std::round(scaled)) <= 1e-12 * std::fabs(scaled);
}

// Counts in units of the last decimal, so that no rounding adds up and the end is met exactly.
void add_range(std::vector<double> *values, const std::string &name, std::string_view text, const double (&range)[3])
{
    double scale = 1.0;
    while (scale < SCALE_MAX &&
           !std::all_of(range, range + 3, [scale](double value) { return is_decimal(value, scale); }))
        scale *= 10.0;
    const double from = std::round(range[0] * scale), to = std::round(range[1] * scale);
    const double step = std::round(range[2] * scale);
    if (!(std::fabs(from) <= EXACT_MAX && std::fabs(to) <= EXACT_MAX && std::fabs(step) <= EXACT_MAX))
        refuse_sweep(fmt::format("{}: the range {} has too many digits", name, text));
    const double steps = std::floor((to - from) / step);
    if (!(steps >= 0.0))
        refuse_sweep(fmt::format("{}: the range {} never gets from {} to {}", name, text, range[0], range[1]));
    if (!(steps < static_cast<double>(VALUES_MAX)))
        refuse_sweep(fmt::format("{}: the range {} has more than {} values", name, text, VALUES_MAX));
    for (double i = 0.0; i <= steps; ++i)
        values->push_back((from + i * step) / scale);
}

std::vector<std::string_view> split(std::string_view text, char at)
{
    std::vector<std::string_view> parts;
    for (std::size_t begin = 0; begin <= text.size();)
    {
        const std::size_t end = std::min(text.find(at, begin), text.size());
        parts.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return parts;
}

const std::string &nearest_key(const std::string &name)
{
    const auto distance = [&name](const record_field &field)
    {
        if (!field.has_key)
            return std::string::npos;
        return field.name.ends_with("." + name) ? 0 : edit_distance(name, field.name);
    };
    return std::ranges::min_element(record_fields(record_type::configuration), {}, distance)->name;
}

void check_values(const varied_key &key, bool at_most_40)
{
    for (const double value : key.values)
    {
        if (key.integer && (value != std::round(value) || std::fabs(value) > INT32_MAX))
            refuse_sweep(fmt::format("{}: takes whole numbers, found {}", key.name, value));
        if (at_most_40 && value > static_cast<double>(BUFFER_SIZE_MAX))
            refuse_sweep(fmt::format("{}: is at most {}, found {}", key.name, BUFFER_SIZE_MAX, value));
    }
}

} // namespace

std::vector<std::pair<std::string, double>> pairs_of(const std::vector<varied_key> &keys, const combination &c)
{
    std::vector<std::pair<std::string, double>> pairs;
    for (std::size_t i = 0; i < c.values.size(); ++i)
        pairs.emplace_back(keys[i].name, c.values[i]);
    return pairs;
}

std::vector<double> parse_values(const std::string &name, std::string_view text)
{
    std::vector<double> values;
    for (const std::string_view part : split(text, ','))
    {
        const std::vector<std::string_view> ends = split(part, ':');
        if (ends.size() == 1)
            values.push_back(number(name, part));
        else if (ends.size() == 3)
            add_range(&values, name, part, {number(name, ends[0]), number(name, ends[1]), number(name, ends[2])});
        else
            refuse_sweep(fmt::format("{}: expected a number or from:to:step, found \"{}\"", name, part));
    }
    return values;
}

varied_key parse_key(const std::string &text)
{
    const std::size_t equals = text.find('=');
    const std::string name = text.substr(0, equals);
    if (equals == std::string::npos)
        refuse_sweep(fmt::format("--key {}: expected KEY=VALUES, as in hcal.rbufsize=15:40:5", text));
    const record_field *known = customer_field(name);
    if (known == nullptr)
        refuse_sweep(fmt::format("--key {}: there is no such key; did you mean {}?", name, nearest_key(name)));
    if (known->kind == key_kind::path)
        refuse_sweep(fmt::format("--key {}: names a file and changes no result", name));
    varied_key key = {name, known->kind != key_kind::real,
                      parse_values("--key " + name, std::string_view(text).substr(equals + 1))};
    check_values(key, known->kind == key_kind::integer_at_most_40);
    return key;
}

shard parse_shard(const std::string &text)
{
    shard part;
    const char *end = text.data() + text.size();
    const auto first = std::from_chars(text.data(), end, part.first);
    if (first.ec == std::errc() && first.ptr != end && *first.ptr == '/')
    {
        const auto step = std::from_chars(first.ptr + 1, end, part.step);
        if (step.ec == std::errc() && step.ptr == end && part.first >= 1 && part.first <= part.step)
            return part;
    }
    refuse_sweep(fmt::format("--shard {}: expected K/N with K from 1 to N, as in 2/8", text));
}

sweep::sweep(std::vector<varied_key> keys, std::vector<double> every)
    : keys_(std::move(keys)), every_(std::move(every)), size_(every_.size())
{
    for (const double n : every_)
        if (!(n >= 1.0 && n == std::round(n) && n <= EXACT_MAX))
            refuse_sweep(fmt::format("--every: expected a whole number from 1 on, found {}", n));
    for (std::size_t i = 0; i < keys_.size(); ++i)
    {
        for (std::size_t j = 0; j < i; ++j)
            if (keys_[i].name == keys_[j].name)
                refuse_sweep(fmt::format("--key {}: is there twice", keys_[i].name));
        if (__builtin_mul_overflow(size_, static_cast<std::uint64_t>(keys_[i].values.size()), &size_))
            refuse_sweep("these are more combinations than can be counted");
    }
}

combination sweep::at(std::uint64_t number) const
{
    combination c = {number, 1, std::vector<double>(keys_.size())};
    std::uint64_t rest = number - 1;
    for (std::size_t i = keys_.size(); i-- > 0;)
    {
        const auto count = static_cast<std::uint64_t>(keys_[i].values.size());
        c.values[i] = keys_[i].values[rest % count];
        rest /= count;
    }
    c.every = static_cast<std::uint64_t>(every_[rest]);
    return c;
}

std::vector<combination> sweep::of(const shard &part) const
{
    const std::uint64_t count = part.first > size_ ? 0 : (size_ - part.first) / part.step + 1;
    if (count > COMBINATIONS_MAX)
        refuse_sweep(fmt::format("{} combinations are too many for one run: take shards, --shard 1/{}", count,
                                 part.step * (count / COMBINATIONS_MAX + 1)));
    std::vector<combination> all;
    for (std::uint64_t i = 0; i < count; ++i)
        all.push_back(at(part.first + i * part.step));
    return all;
}

} // namespace qv6d
