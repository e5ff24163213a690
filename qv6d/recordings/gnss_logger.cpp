#include "recordings/gnss_logger.h"

#include "common/text.h"
#include "recordings/numbers.h"

#include <algorithm>
#include <fmt/format.h>
#include <optional>

namespace qv6d
{

namespace
{

constexpr std::size_t ROWS_AHEAD = 2000;

struct row_kind
{
    sensor kind;
    std::string_view raw, calibrated; // first words of rows
};

constexpr std::array<row_kind, 3> KINDS = {
    {{sensor::acc, "UncalAccel", "Accel"}, {sensor::gyr, "UncalGyro", "Gyro"}, {sensor::mag, "UncalMag", "Mag"}}};

std::string_view first_word(std::string_view line)
{
    return trimmed(line.substr(0, line.find(',')));
}

bool has_rows(const std::deque<std::string> &lines, std::string_view word)
{
    return std::any_of(lines.begin(), lines.end(), [&](const std::string &line) { return first_word(line) == word; });
}

// The comment that names the columns of such rows, or nothing.
const std::string *header_of(const std::deque<std::string> &lines, std::string_view word)
{
    const auto found = std::find_if(lines.begin(), lines.end(),
                                    [&](const std::string &line)
                                    {
                                        std::string_view text = line;
                                        text.remove_prefix(std::min(text.find_first_not_of("# "), text.size()));
                                        return line.starts_with('#') && first_word(text) == word;
                                    });
    return found == lines.end() ? nullptr : &*found;
}

bool is_whole(std::string_view text)
{
    return text.find_first_not_of("0123456789-") == std::string_view::npos;
}

// Of one kind of rows.
struct row_plan
{
    sensor kind;
    std::string_view word;
    bool has_elapsed = true; // a column of nanoseconds since the start
    bool decided = false;
};

class gnss_stream : public sample_stream
{
public:
    gnss_stream(std::unique_ptr<text_lines> lines, std::vector<row_plan> plans)
        : lines_(std::move(lines)), plans_(std::move(plans))
    {
    }

    bool next(sample *s) override
    {
        while (next_ == pending_.size())
        {
            next_ = 0;
            pending_.clear();
            std::string_view line;
            if (!lines_->next(&line))
                return false;
            read_row(line);
        }
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
    void read_row(std::string_view line)
    {
        const std::string_view word = first_word(line);
        const auto plan = std::find_if(plans_.begin(), plans_.end(), [&](const row_plan &p) { return p.word == word; });
        if (plan == plans_.end())
            return;
        split(line, ',', &fields_);
        if (!plan->decided)
            decide(&*plan);
        const std::size_t x = plan->has_elapsed ? 3 : 2;
        if ((fields_.size() < x + 3 || is_begun_number(fields_.back())) && !lines_->more())
            cut_ = lines_->line();
        else if (fields_.size() < x + 3)
            lines_->fail(
                fmt::format("expected at least {} columns after {}, found {}", x + 2, word, fields_.size() - 1));
        else
            take(*plan, x);
    }

    void decide(row_plan *plan)
    {
        plan->decided = true;
        plan->has_elapsed = fields_.size() > 5 && is_whole(fields_[2]);
        if (!in_ms_)
            in_ms_ = !plan->has_elapsed || fields_[2].empty();
    }

    void take(const row_plan &plan, std::size_t x)
    {
        const std::string_view time = fields_[*in_ms_ ? 1 : 2];
        const auto t_ns = nanoseconds(time, *in_ms_ ? time_unit::ms : time_unit::ns);
        if (!t_ns || time.empty())
            lines_->fail(
                fmt::format("expected {}, found \"{}\"",
                            *in_ms_ ? "milliseconds after the first comma" : "nanoseconds after the second comma",
                            printable(time.substr(0, 40))));
        const sample s{*t_ns, plan.kind, triple_at(x), lines_->line()};
        const bool bias_there = fields_.size() >= x + 6 && !is_missing(fields_[x + 3]);
        if (plan.kind == sensor::mag && plan.word == KINDS[2].raw && bias_there)
            take_bias(*t_ns, triple_at(x + 3));
        pending_.push_back(s);
    }

    void take_bias(std::int64_t t_ns, const std::array<double, 3> &bias)
    {
        if (bias_ == bias)
            return;
        bias_ = bias;
        pending_.push_back({t_ns, sensor::bias, bias, lines_->line()});
    }

    std::array<double, 3> triple_at(std::size_t x) const
    {
        return {value_of(fields_[x], 1.0, "x", *lines_), value_of(fields_[x + 1], 1.0, "y", *lines_),
                value_of(fields_[x + 2], 1.0, "z", *lines_)};
    }

    std::unique_ptr<text_lines> lines_;
    std::vector<row_plan> plans_;
    std::optional<bool> in_ms_; // for the whole file: the two clocks differ
    std::optional<std::array<double, 3>> bias_;
    std::vector<std::string_view> fields_;
    std::vector<sample> pending_;
    std::size_t next_ = 0;
    std::uint64_t cut_ = 0;
};

} // namespace

bool is_gnss_logger(text_lines *lines)
{
    const auto &ahead = lines->ahead(ROWS_AHEAD);
    return std::any_of(KINDS.begin(), KINDS.end(),
                       [&](const row_kind &k) {
                           return has_rows(ahead, k.raw) || header_of(ahead, k.raw) != nullptr ||
                                  has_rows(ahead, k.calibrated);
                       });
}

std::unique_ptr<sample_stream> read_gnss_logger(std::unique_ptr<text_lines> lines, std::vector<std::string> *taken,
                                                std::vector<std::string> *decisions)
{
    const auto &ahead = lines->ahead(ROWS_AHEAD);
    std::vector<row_plan> plans;
    for (const row_kind &k : KINDS)
    {
        const bool calibrated = !has_rows(ahead, k.raw) && has_rows(ahead, k.calibrated);
        if (!calibrated && !has_rows(ahead, k.raw) && header_of(ahead, k.raw) == nullptr)
            continue;
        plans.push_back({k.kind, calibrated ? k.calibrated : k.raw});
        taken->push_back(fmt::format("{}: rows {}", name(k.kind), plans.back().word));
        if (calibrated && k.kind == sensor::mag)
            decisions->push_back("the field has the phone's own offset taken off: no UncalMag rows were written");
    }
    return std::make_unique<gnss_stream>(std::move(lines), std::move(plans));
}

} // namespace qv6d
