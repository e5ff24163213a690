// Files to read: piece by piece, line by line, or whole. "-" is standard input. What cannot be read is an error that
// names the file.
#pragma once

#include "common/descriptor.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace qv6d
{

// Bytes that are read once, from the first to the last.
class byte_source
{
public:
    virtual ~byte_source() = default;

    // At most `size` bytes; 0 at the end. Throws qv6d::error when they cannot be read.
    virtual std::size_t read(char *to, std::size_t size) = 0;

    // For messages, and safe to show.
    virtual const std::string &name() const = 0;
};

// A file as a stream of bytes. It may be a pipe.
class input_file : public byte_source
{
public:
    // `expected` ends the message about a directory: "a recording". Throws qv6d::error when the file cannot be opened.
    input_file(const std::string &path, std::string_view expected);

    // One that is open.
    input_file(descriptor file, const std::string &path);

    // Reads what is there now, at most `size` bytes; 0 at the end of the file.
    std::size_t read(char *to, std::size_t size) override;

    const std::string &name() const override
    {
        return name_;
    }

private:
    std::string name_;
    descriptor file_;
};

// The content of a small file: customer file or record file. Throws EXIT_MALFORMED when it is larger than 1 MiB, far
// more than any of these has.
std::string read_whole_file(const std::string &path, std::string_view expected);
std::string read_whole_file(input_file *file, std::string_view expected);

// 0 when not known, as for a pipe.
std::uint64_t size_of_file(const std::string &path);

// For files that are read more than once, `why`. Throws qv6d::error when the path names a pipe or a device.
void expect_regular_file(const std::string &path, std::string_view why);

// Lines of a file through a buffer of fixed size.
class line_reader
{
public:
    // What becomes of a line longer than any of a recording or a log.
    enum class long_lines
    {
        fail,
        cut,
    };

    // Throws qv6d::error when the file cannot be opened.
    explicit line_reader(const std::string &path, long_lines how = long_lines::fail);

    // `size` of the source in bytes, 0 when not known.
    explicit line_reader(std::unique_ptr<byte_source> source, std::uint64_t size, long_lines how = long_lines::fail);

    // The next line without its end, valid until the next call; false at the end of the file.
    bool next(std::string_view *line);

    // Throws EXIT_MALFORMED with file and line in front of the message.
    [[noreturn]] void fail(const std::string &message) const;

    std::uint64_t bytes_read() const
    {
        return consumed_;
    }

    const std::string &name() const
    {
        return file_->name();
    }

    // Of the line handed out last, from 1.
    std::uint64_t line() const
    {
        return line_;
    }

    // 0 when not known, as for a pipe.
    std::uint64_t size() const
    {
        return size_;
    }

private:
    bool refill();
    std::size_t length_ahead();
    void take_too_long(std::string_view *line);
    void skip_line();
    void consume(std::size_t count);

    std::unique_ptr<byte_source> file_;
    long_lines how_;
    std::vector<char> buffer_;
    std::uint64_t size_;
    std::size_t begin_ = 0, end_ = 0; // of what is read and not yet handed out
    std::uint64_t line_ = 0, consumed_ = 0;
    bool skipping_ = false;
};

} // namespace qv6d
