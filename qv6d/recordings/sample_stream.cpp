#include "recordings/sample_stream.h"

#include "common/error.h"
#include "common/text.h"
#include "recordings/numbers.h"

#include <cmath>
#include <fmt/format.h>
#include <limits>

namespace qv6d
{

static void refuse_other_encodings(std::string_view line, const text_lines &lines)
{
    if (line.starts_with("\xFF\xFE") || line.starts_with("\xFE\xFF"))
        lines.fail_at(1, "is text of two bytes a character (UTF-16): save it as UTF-8");
    if (line.find('\0') != std::string_view::npos)
        lines.fail_at(1, "is no text: expected a recording as CSV, a zip file or a folder");
}

text_lines::text_lines(std::unique_ptr<line_reader> lines) : lines_(std::move(lines))
{
}

bool text_lines::look()
{
    std::string_view line;
    if (!lines_->next(&line))
        return false;
    ahead_.emplace_back(line);
    return true;
}

bool text_lines::next(std::string_view *line)
{
    if (ahead_.empty())
    {
        if (!lines_->next(line))
            return false;
    }
    else
    {
        current_ = std::move(ahead_.front());
        ahead_.pop_front();
        *line = current_;
    }
    if (++line_ == 1)
    {
        refuse_other_encodings(*line, *this);
        if (line->starts_with("\xEF\xBB\xBF"))
            line->remove_prefix(3);
    }
    return true;
}

const std::deque<std::string> &text_lines::ahead(std::size_t count)
{
    while (ahead_.size() < count && look())
    {
    }
    if (line_ == 0 && !ahead_.empty())
        refuse_other_encodings(ahead_.front(), *this);
    return ahead_;
}

bool text_lines::more()
{
    return !ahead_.empty() || look();
}

void text_lines::fail(const std::string &message) const
{
    fail_at(line_, message);
}

void text_lines::fail_at(std::uint64_t line, const std::string &message) const
{
    throw error(EXIT_MALFORMED, fmt::format("{}:{}: {}", name(), line, message));
}

double value_of(std::string_view field, double factor, std::string_view column, const text_lines &lines)
{
    const auto value = number(field);
    if (!value)
        lines.fail(fmt::format("column {}: expected a number, found \"{}\"", printable(column.substr(0, 40)),
                               printable(field.substr(0, 40))));
    const double scaled = *value * factor;
    constexpr double most = std::numeric_limits<float>::max();
    if (std::abs(scaled) > most && !(std::isinf(scaled) && field.find_first_of("iI") != std::string_view::npos))
        lines.fail(fmt::format("column {}: \"{}\" is too large for a single-precision number",
                               printable(column.substr(0, 40)), printable(field.substr(0, 40))));
    return scaled;
}

} // namespace qv6d
