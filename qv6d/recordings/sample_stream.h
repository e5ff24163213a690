// The samples of one file of a recording, before they are put in the order of time with those of the others.
#pragma once

#include "common/file.h"
#include "recordings/event_source.h"

#include <array>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace qv6d
{

struct sample
{
    std::int64_t t_ns;
    sensor kind;
    std::array<double, 3> v; // in the units of events, within single precision
    std::uint64_t line;
};

class sample_stream
{
public:
    virtual ~sample_stream() = default;
    virtual bool next(sample *s) = 0;
    virtual std::uint64_t bytes_read() const = 0;
    virtual std::uint64_t size() const = 0; // 0 when not known

    virtual std::vector<remark> remarks() const
    {
        return {};
    }
};

// Lines of which the first ones can be looked at before they are taken.
class text_lines
{
public:
    explicit text_lines(std::unique_ptr<line_reader> lines);

    // The next line, valid until the next call; false at the end. Throws for text of two bytes a character.
    bool next(std::string_view *line);

    // At most so many of the lines from the first to the last that was looked at; before next().
    const std::deque<std::string> &ahead(std::size_t count);

    // The lines after those that were looked at.
    std::unique_ptr<line_reader> release()
    {
        return std::move(lines_);
    }

    // Whether a line follows.
    bool more();

    // With file and line in front: of the line taken last, or the one named.
    [[noreturn]] void fail(const std::string &message) const;
    [[noreturn]] void fail_at(std::uint64_t line, const std::string &message) const;

    const std::string &name() const
    {
        return lines_->name();
    }

    std::uint64_t line() const
    {
        return line_;
    }

    std::uint64_t bytes_read() const
    {
        return lines_->bytes_read();
    }

    std::uint64_t size() const
    {
        return lines_->size();
    }

private:
    bool look();

    std::unique_ptr<line_reader> lines_;
    std::deque<std::string> ahead_;
    std::string current_;
    std::uint64_t line_ = 0;
};

// The number of a column times a factor. Throws at what is none, or is more than single precision holds.
double value_of(std::string_view field, double factor, std::string_view column, const text_lines &lines);

} // namespace qv6d
