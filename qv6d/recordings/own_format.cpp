#include "recordings/own_format.h"

#include "common/error.h"
#include "common/text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <fmt/format.h>
#include <limits>
#include <utility>

namespace qv6d
{

namespace
{

// The columns of a line, taken from left to right.
struct columns
{
    const line_reader &lines;
    std::string_view line, left;
    std::ptrdiff_t count; // expected
    std::string_view header;

    void expect_count() const
    {
        const std::ptrdiff_t found = std::count(line.begin(), line.end(), ',') + 1;
        if (found != count)
            lines.fail(fmt::format("expected {} columns ({}), found {}", count, header, found));
    }

    void expect_end() const
    {
        if (!left.empty() || line.back() == ',')
            expect_count();
    }
};

std::string_view take_field(columns *from)
{
    const std::size_t comma = from->left.find(',');
    const std::string_view field = from->left.substr(0, comma);
    from->left.remove_prefix(comma == std::string_view::npos ? from->left.size() : comma + 1);
    return trimmed(field);
}

// A number that fills its column, as nearly all do; false with nothing taken otherwise.
template <typename Number>
bool take_plain_number(columns *from, Number *value)
{
    const char *begin = from->left.data(), *end = begin + from->left.size();
    const auto [after, status] = std::from_chars(begin, end, *value);
    if (status != std::errc() || (after != end && *after != ','))
        return false;
    from->left.remove_prefix(static_cast<std::size_t>(after - begin) + (after != end ? 1 : 0));
    return true;
}

template <typename Number>
Number take_number(columns *from, const char *column)
{
    Number value;
    if (take_plain_number(from, &value))
        return value;
    from->expect_count();
    const std::string_view field = take_field(from);
    const auto [end, status] = std::from_chars(field.data(), field.data() + field.size(), value);
    if constexpr (std::is_same_v<Number, float>)
        if (double wide; status == std::errc::result_out_of_range &&
                         std::from_chars(field.data(), field.data() + field.size(), wide).ec == std::errc() &&
                         std::abs(wide) < 1.0)
            return static_cast<float>(wide); // nearer to zero than any number of this precision
    if (status == std::errc::result_out_of_range)
        from->lines.fail(fmt::format("column {}: \"{}\" is too large or too small for a {} number", column,
                                     printable(field), std::is_integral_v<Number> ? "64-bit" : "single-precision"));
    if (status != std::errc() || end != field.data() + field.size())
        from->lines.fail(fmt::format("column {}: expected {}, found \"{}\"", column,
                                     std::is_integral_v<Number> ? "an integer, nanoseconds" : "a number",
                                     printable(field)));
    return value;
}

sensor take_sensor(columns *from)
{
    const std::string_view name = take_field(from);
    if (name == "mag")
        return sensor::mag;
    if (name == "acc")
        return sensor::acc;
    if (name == "gyr")
        return sensor::gyr;
    if (name != "bias")
    {
        from->expect_count();
        from->lines.fail(fmt::format("column sensor: expected acc, gyr, mag or bias, found \"{}\"", printable(name)));
    }
    return sensor::bias;
}

event take_event(columns *from, std::int64_t t_ns, sensor kind, const char *const names[3])
{
    event e{t_ns, kind, 0, 0, 0};
    e.x = take_number<float>(from, names[0]);
    e.y = take_number<float>(from, names[1]);
    e.z = take_number<float>(from, names[2]);
    return e;
}

} // namespace

bool is_recording_header(std::string_view line)
{
    if (line.starts_with("\xEF\xBB\xBF"))
        line.remove_prefix(3);
    return trimmed(line) == EVENT_HEADER || trimmed(line) == WIDE_HEADER;
}

own_format::own_format(std::unique_ptr<line_reader> lines, bool wide, const reading &said)
    : lines_(std::move(lines)), wide_(wide),
      as_written_(!said.unit && !said.field && !said.acceleration && !said.rate && !said.opposite),
      step_(said.unit ? static_cast<int>(*said.unit) - static_cast<int>(time_unit::ns) : 0),
      factors_{factor(said, quantity::acc), factor(said, quantity::gyr), factor(said, quantity::mag),
               factor(said, quantity::bias)}
{
}

double own_format::factor(const reading &said, quantity what)
{
    const double sign = what == quantity::acc && said.opposite ? -1.0 : 1.0;
    return sign * said.factor(what).value_or(1.0);
}

bool own_format::next(event *e)
{
    while (pending_next_ == pending_count_)
    {
        std::string_view line;
        if (!lines_->next(&line))
            return false;
        if (!trimmed(line).empty())
            read_line(line);
    }
    *e = pending_[pending_next_++];
    return true;
}

// What a person said of units.
void own_format::convert(event *e) const
{
    const double scale = factors_[static_cast<std::size_t>(e->kind)];
    for (float *v : {&e->x, &e->y, &e->z})
    {
        const double value = *v * scale;
        if (std::isfinite(value) && std::abs(value) > std::numeric_limits<float>::max())
            lines_->fail("a value is too large in the unit that --unit names");
        *v = static_cast<float>(value);
    }
    for (int k = 0; k < step_; ++k)
    {
        if (std::abs(e->t_ns / 10) >= std::numeric_limits<std::int64_t>::max() / 100)
            lines_->fail("the time is too large in the unit that --time-unit names");
        e->t_ns *= 10;
    }
}

void own_format::read_line(std::string_view line)
{
    static constexpr const char *PLAIN[] = {"x", "y", "z"};
    static constexpr const char *ACC[] = {"ax", "ay", "az"}, *GYR[] = {"gx", "gy", "gz"}, *MAG[] = {"mx", "my", "mz"};
    pending_next_ = pending_count_ = 0;
    columns from{*lines_, line, line, wide_ ? 10 : 5, wide_ ? WIDE_HEADER : EVENT_HEADER};
    const auto t_ns = take_number<std::int64_t>(&from, "t_ns");
    if (wide_)
    {
        pending_[0] = take_event(&from, t_ns, sensor::acc, ACC);
        pending_[1] = take_event(&from, t_ns, sensor::gyr, GYR);
        pending_[2] = take_event(&from, t_ns, sensor::mag, MAG);
    }
    else
    {
        const sensor kind = take_sensor(&from);
        pending_[0] = take_event(&from, t_ns, kind, PLAIN);
    }
    from.expect_end();
    check_order(t_ns);
    pending_count_ = wide_ ? 3 : 1;
    if (!as_written_)
        std::for_each(pending_, pending_ + pending_count_, [this](event &e) { convert(&e); });
}

void own_format::check_order(std::int64_t t_ns)
{
    if (any_ && t_ns < last_t_ns_)
        lines_->fail(fmt::format("expected events in time order, found t_ns {} after {}", t_ns, last_t_ns_));
    any_ = true;
    last_t_ns_ = t_ns;
}

} // namespace qv6d
