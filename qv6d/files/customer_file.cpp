#include "files/customer_file.h"

#include "common/error.h"
#include "common/file.h"
#include "common/interrupt.h"
#include "common/scratch_file.h"
#include "common/text.h"
#include "library/configuration.h"
#include "library/customer_words.h"
#include "library/library_log.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fmt/format.h>
#include <limits>
#include <map>

namespace qv6d
{

namespace
{

using outcome = customer_line::outcome;

bool is_blank(char c)
{
    return c == ' ' || c == '\t';
}

// A physical line without its blanks, as the library splits it, and the columns that its characters stand in.
class squeezed_line
{
public:
    explicit squeezed_line(std::string_view line)
    {
        for (std::size_t i = 0; i < line.size() && line[i] != '\0' && line[i] != '\n'; ++i)
            if (!is_blank(line[i]))
            {
                text_ += line[i];
                columns_.push_back(static_cast<int>(i) + 1);
            }
        value_ = text_.find('=') + 1; // 0 without an "="
    }

    const std::string &text() const
    {
        return text_;
    }

    int column(std::size_t index) const
    {
        return index < columns_.size() ? columns_[index] : 1;
    }

    int value_column(std::size_t index = 0) const
    {
        return column(value_ + index);
    }

    // Column of the first blank that was removed from within the value's first characters; 0 for none.
    int blank_in_value(std::size_t length) const
    {
        for (std::size_t i = value_ + 1; i < std::min(value_ + length, columns_.size()) && text_[i] != '\r'; ++i)
            if (columns_[i] != columns_[i - 1] + 1)
                return columns_[i - 1] + 1;
        return 0;
    }

private:
    std::string text_;
    std::vector<int> columns_;
    std::size_t value_;
};

std::string unknown_key(const std::string &key)
{
    if (key.starts_with("\xEF\xBB\xBF"))
        return "a byte order mark stands in front of the line: save the file without one";
    for (const record_field &field : record_fields(record_type::configuration))
        if (field.name == key)
            return fmt::format("{} has no key: it keeps its default", key);

    const customer_key *nearest = std::ranges::min_element(
        CUSTOMER_KEYS, {}, [&](const customer_key &candidate) { return edit_distance(candidate.name, key); });
    if (edit_distance(nearest->name, key) > std::max<std::size_t>(2, key.size() / 3))
        return fmt::format("unknown key \"{}\": qv6d check --defaults lists all", printable(key));
    return fmt::format("unknown key \"{}\": did you mean {}?", printable(key), nearest->name);
}

// Why the library found no key and value.
std::string not_a_pair(const squeezed_line &line, int *column)
{
    const std::string &text = line.text();
    const std::size_t equals = text.find('=');
    *column = line.column(0);
    if (text.empty() || text == "\r")
        return "only blanks: the library reports it; leave the line empty";
    if (text[0] == '#' || text[0] == '%')
        return "a comment must begin in the first column: move it there";
    if (equals == std::string::npos)
        return "no \"=\": expected key = value, or # in front of a comment";
    if (text == "=")
        return "neither key nor value: expected key = value";
    *column = line.column(text.find('=', equals + 1));
    return "a second \"=\": expected one key = value, comments on lines of their own";
}

// Whether every start under this value alone discards the calibration that the start before has stored: the fusion's
// initialisation changes what is stored, and NaN equals nothing.
bool discards_at_every_start(const record_field &field, record_view cfg)
{
    const qvstorage_cfg loaded = defaults_with(field, cfg);
    qvstorage_cfg stored = loaded;
    qvfusion_state state = {};
    qvfusion_bak bak;
    qvfusion_init(&state, &stored.fusion, qvfusion_get_bak(&bak, &stored.fusion));
    return check_cfg_was_changed(&loaded, &stored) != 0;
}

class warnings_of_a_pair
{
public:
    warnings_of_a_pair(customer_line *line, const squeezed_line &text, const std::string &value)
        : line_(line), text_(text), value_(value)
    {
        if (line->field->kind == key_kind::path)
            check_path();
        else
            check_number();
    }

private:
    void warn(int column, const std::string &text)
    {
        line_->warnings.push_back({column, text});
    }

    void check_blanks(std::size_t used)
    {
        if (const int blank = text_.blank_in_value(used))
            warn(blank, fmt::format("blanks within a value are removed: this is \"{}\"", printable(value_)));
    }

    std::string stored() const
    {
        return value_text(*line_->field, line_->after());
    }

    void check_path()
    {
        check_blanks(value_.size());
        const std::size_t end = value_.find('\r');
        if (end != std::string::npos)
            warn(text_.value_column(end), "a carriage return stays in the path: save the file with plain line ends");
        if (value_[0] == '"' || value_[0] == '\'')
            warn(text_.value_column(), "quotes stay in the path: remove them");
        if (const std::size_t hash = value_.find('#'); hash != std::string::npos)
            warn(text_.value_column(hash), "\"#\" begins no comment here: it is part of the path");
        if (line_->field->name == "env.custcfg" && changed())
            warn(line_->column, "does not redirect this file, which is open already; only discards the calibration");
    }

    bool changed() const
    {
        return !same_value(*line_->field, line_->before(), line_->after());
    }

    void check_number()
    {
        char *end;
        const double number = std::strtod(value_.c_str(), &end);
        check_text(static_cast<std::size_t>(end - value_.c_str()));
        if (line_->field->kind == key_kind::real)
            check_real(number);
        else
            check_integer(number);
    }

    void check_text(std::size_t used)
    {
        check_blanks(used);
        std::string tail = value_.substr(used);
        if (tail.ends_with('\r'))
            tail.pop_back();
        const int column = text_.value_column(used);
        if (used == 0)
            warn(text_.value_column(), fmt::format("\"{}\" is no number and counts as 0", printable(value_)));
        else if (tail.starts_with('#') || tail.starts_with('%'))
            warn(column, fmt::format("\"{}\" is ignored, but a comment belongs on a line of its own", printable(tail)));
        else if (tail.starts_with(','))
            warn(column, fmt::format("\"{}\" is ignored: write a decimal point, not a comma", printable(tail)));
        else if (!tail.empty())
            warn(column, fmt::format("\"{}\" is ignored: only \"{}\" counts", printable(tail), value_.substr(0, used)));
    }

    void check_real(double number)
    {
        if (discards_at_every_start(*line_->field, line_->after()))
            warn(text_.value_column(), fmt::format("{}: every start would discard the stored calibration",
                                                   std::isnan(number) ? "not a number" : "0 is replaced when stored"));
        else if (!std::isfinite(number))
            warn(text_.value_column(), fmt::format("{} is stored", stored()));
    }

    void check_integer(double number)
    {
        using limits = std::numeric_limits<std::int32_t>;
        const int column = text_.value_column();
        if (std::isnan(number))
            warn(column, "not a number: counts as 0");
        else if (line_->field->kind == key_kind::integer_at_most_40 &&
                 number >= static_cast<double>(BUFFER_SIZE_MAX + 1))
            warn(column, fmt::format("cut to {}, the most that the library takes", stored()));
        else if (std::trunc(number) < limits::min() || std::trunc(number) > limits::max())
            warn(column, fmt::format("beyond 32 bits: counts as {}", stored()));
        else if (std::trunc(number) != number)
            warn(column, fmt::format("the fraction is dropped: counts as {}", stored()));
    }

    customer_line *line_;
    const squeezed_line &text_;
    const std::string &value_;
};

class customer_reader
{
public:
    customer_reader()
    {
        report_.base = report_.result = start_configuration();
    }

    // False at a line that ends the reading.
    bool read(std::string_view physical)
    {
        size_ += physical.size();
        if (size_ > CUSTOMER_FILE_MAX) // of a whole file: here each line is a file of its own
        {
            add(report_.line_count, outcome::ended).reason =
                fmt::format("{} bytes of a file are the most: reading ends here", CUSTOMER_FILE_MAX);
            return false;
        }
        const qvstorage_cfg before = report_.result;
        const int number = report_.line_count;
        std::vector<std::string> said;
        file_.write(physical);
        set_log_sink([&](const log_entry &line) { said.emplace_back(line.said()); });
        const bool ended = load_file_cust(&report_.result, file_.path().c_str()) != 0;
        set_log_sink(nullptr);

        const squeezed_line text(physical);
        const std::size_t first = report_.lines.size();
        for (const std::string &message : said)
            take(message, physical, text, number, before);
        warn_of_zero_bytes(physical, number, first);
        if (ended && (report_.lines.size() == first || report_.lines.back().result != outcome::ended))
            throw error(EXIT_INPUT, "a file in memory cannot be read");
        return !ended;
    }

    customer_report report_;

private:
    customer_line &add(int number, outcome result)
    {
        customer_line line = {};
        line.number = number;
        line.column = 1;
        line.result = result;
        report_.lines.push_back(line);
        return report_.lines.back();
    }

    void take(const std::string &message, std::string_view physical, const squeezed_line &text, int number,
              const qvstorage_cfg &before)
    {
        constexpr std::string_view pair = "[INFO] setup_cust_cfg : ";
        if (message.starts_with(pair))
            take_pair(message.substr(pair.size()), text, add(number, outcome::taken), before);
        else if (message.starts_with("[ERR] Could not parse") || message.starts_with("[ERR] Path is longer"))
            report_.lines.back().result = outcome::not_taken; // of the pair just added
        else if (message.starts_with("[ERR] String could not distinguished"))
        {
            customer_line &line = add(number, outcome::not_taken);
            line.reason = not_a_pair(text, &line.column);
        }
        else if (message.starts_with("[ERR] StringBuf OverFlow"))
        {
            customer_line &line = add(number, outcome::ended);
            line.column = static_cast<int>(CUSTOMER_LINE_MAX) + 1;
            line.reason = fmt::format("{} characters with the line's end, but {} are the most: reading ends here",
                                      physical.size(), CUSTOMER_LINE_MAX);
        }
        else if (message.starts_with("[ERR] Could not find out value"))
        {
            customer_line &line = add(number, outcome::ended);
            line.column = text.column(0);
            line.reason = text.text().starts_with('=') ? "no key in front of \"=\": reading ends here"
                                                       : "no value after \"=\": reading ends here";
        }
    }

    // "key = value" without blanks in either.
    void take_pair(const std::string &pair, const squeezed_line &text, customer_line &line, const qvstorage_cfg &before)
    {
        const std::size_t split = pair.find(" = ");
        const std::string key = pair.substr(0, split), value = pair.substr(split + 3);
        line.column = text.column(0);
        line.field = customer_field(key);
        if (line.field == nullptr)
        {
            line.reason = unknown_key(key);
            return;
        }
        line.bytes_before = record_view(before).bytes_of(*line.field);
        line.bytes_after = record_view(report_.result).bytes_of(*line.field);
        if (line.field->kind == key_kind::path && value.size() >= QVENV_PATH_SIZE)
        {
            line.column = text.value_column();
            line.reason = fmt::format("a path of {} characters, but {} are the most: {} keeps \"{}\"", value.size(),
                                      QVENV_PATH_SIZE - 1, key, value_text(*line.field, before));
            return;
        }
        warnings_of_a_pair(&line, text, value);
        if (const auto [earlier, is_first] = set_at_.try_emplace(key, line.number); !is_first)
        {
            line.warnings.push_back({line.column, fmt::format("overrides line {}", earlier->second)});
            earlier->second = line.number;
        }
    }

    void warn_of_zero_bytes(std::string_view physical, int number, std::size_t first)
    {
        const std::size_t zero = physical.find('\0');
        if (zero == std::string_view::npos)
            return;
        customer_line &line = report_.lines.size() > first ? report_.lines[first] : add(number, outcome::skipped);
        line.warnings.push_back({static_cast<int>(zero) + 1, "the line ends for the library at a zero byte"});
    }

    scratch_file file_;
    std::size_t size_ = 0; // so far
    std::map<std::string, int> set_at_;
};

} // namespace

bool customer_report::all_taken() const
{
    return count(outcome::not_taken) == 0 && count(outcome::ended) == 0;
}

int customer_report::count(outcome result) const
{
    return static_cast<int>(std::ranges::count(lines, result, &customer_line::result));
}

int customer_report::warning_count() const
{
    int count = 0;
    for (const customer_line &line : lines)
        count += static_cast<int>(line.warnings.size());
    return count;
}

const record_field *customer_field(const std::string &key)
{
    for (const record_field &field : record_fields(record_type::configuration))
        if (field.has_key && field.name == key)
            return &field;
    return nullptr;
}

customer_report read_customer_text(const std::string &text)
{
    customer_reader reader;
    bool reading = true;
    for (std::size_t begin = 0; begin < text.size();)
    {
        const std::size_t end = std::min(text.find('\n', begin), text.size() - 1) + 1;
        throw_if_interrupted();
        ++reader.report_.line_count;
        reading = reading && reader.read(std::string_view(text).substr(begin, end - begin));
        begin = end;
    }
    return reader.report_;
}

customer_report read_customer_file(const std::string &path)
{
    const std::string text = read_whole_file(path, "a customer file");
    expect_customer_file(path == "-" ? "standard input" : path, text);
    return read_customer_text(text);
}

} // namespace qv6d
