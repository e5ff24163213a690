#include "recordings/table.h"

#include "common/text.h"

#include <algorithm>
#include <fmt/format.h>

namespace qv6d
{

namespace
{

std::optional<sensor> sensor_of(quantity what)
{
    switch (what)
    {
    case quantity::acc:
        return sensor::acc;
    case quantity::gyr:
        return sensor::gyr;
    case quantity::mag:
        return sensor::mag;
    default:
        return std::nullopt;
    }
}

class table_stream : public sample_stream
{
public:
    table_stream(std::unique_ptr<text_lines> lines, table_plan plan, std::vector<wanted_part> wanted)
        : lines_(std::move(lines)), plan_(std::move(plan)), wanted_(std::move(wanted))
    {
        needed_ = plan_.time + 1;
        for (const wanted_part &w : wanted_)
            for (const std::size_t column : plan_.parts[w.part].what.columns)
                needed_ = std::max(needed_, column + 1);
        if (plan_.sensor)
            needed_ = std::max(needed_, *plan_.sensor + 1);
        while (plan_.names.size() < needed_)
            plan_.names.push_back(std::to_string(plan_.names.size() + 1));
    }

    bool next(sample *s) override
    {
        while (next_ == pending_.size())
            if (!read_row())
                return false;
        *s = pending_[next_++];
        return true;
    }

    std::uint64_t bytes_read() const override
    {
        return lines_->bytes_read();
    }

    std::uint64_t size() const override
    {
        return lines_->size();
    }

    std::vector<remark> remarks() const override
    {
        if (cut_ == 0)
            return {};
        return {{"cut_line", fmt::format("{}:{}: the last line is cut off, and is left out", lines_->name(), cut_)}};
    }

private:
    bool read_row()
    {
        next_ = 0;
        pending_.clear();
        std::string_view line;
        if (!lines_->next(&line))
            return false;
        if (lines_->line() <= plan_.rows_after || is_blank(line))
            return true;
        split(line, plan_.delimiter, &fields_);
        const bool few = fields_.size() < needed_;
        if ((few || (fields_.size() == needed_ && is_begun_number(fields_.back()))) && !lines_->more())
            cut_ = lines_->line();
        else if (few)
            lines_->fail(fmt::format(
                "expected at least {} columns, found {}{}", needed_, fields_.size(),
                std::count(line.begin(), line.end(), '"') % 2 == 0 ? "" : ": line breaks within quotes are not read"));
        else
            take_row();
        return true;
    }

    static bool is_blank(std::string_view line)
    {
        const std::string_view text = trimmed(line);
        return text.find_first_not_of(" \t,;") == std::string_view::npos || text.front() == '#' ||
               text.front() == '%' || text.starts_with("//");
    }

    void take_row()
    {
        const std::string_view time = fields_[plan_.time];
        const auto t_ns = nanoseconds(time, plan_.unit);
        if (!t_ns)
            lines_->fail(fmt::format("column {}: expected a time in {}, found \"{}\"",
                                     printable(plan_.names[plan_.time].substr(0, 40)), name(plan_.unit),
                                     printable(time.substr(0, 40))));
        for (const wanted_part &w : wanted_)
            take_part(*t_ns, plan_.parts[w.part], w.as);
    }

    void take_part(std::int64_t t_ns, const table_part &part, sensor as)
    {
        if (plan_.sensor)
        {
            const auto what = quantity_named(normalised(fields_[*plan_.sensor]));
            const auto kind = what ? sensor_of(*what) : std::nullopt;
            if (!kind)
                return; // a sensor that is not needed
            as = *kind;
        }
        std::array<std::string_view, 3> texts;
        for (std::size_t axis = 0; axis < 3; ++axis)
            texts[axis] = fields_[part.what.columns[axis]];
        if (std::all_of(texts.begin(), texts.end(), is_missing)) // no sample of this sensor at this time
            return;
        sample s{t_ns, as, {}, lines_->line()};
        for (std::size_t axis = 0; axis < 3; ++axis)
            s.v[axis] = value_of(texts[axis], part.factor, plan_.names[part.what.columns[axis]], *lines_);
        if (as == sensor::bias && bias_ == s.v)
            return; // only its changes are events
        if (as == sensor::bias)
            bias_ = s.v;
        pending_.push_back(s);
    }

    std::unique_ptr<text_lines> lines_;
    table_plan plan_;
    std::vector<wanted_part> wanted_;
    std::size_t needed_ = 0; // columns
    std::vector<std::string_view> fields_;
    std::vector<sample> pending_; // of the row read last
    std::size_t next_ = 0;
    std::uint64_t cut_ = 0; // line
    std::optional<std::array<double, 3>> bias_;
};

} // namespace

std::unique_ptr<sample_stream> read_table(std::unique_ptr<text_lines> lines, table_plan plan,
                                          std::vector<wanted_part> wanted)
{
    return std::make_unique<table_stream>(std::move(lines), std::move(plan), std::move(wanted));
}

} // namespace qv6d
