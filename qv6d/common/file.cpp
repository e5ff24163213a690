#include "common/file.h"

#include "common/error.h"
#include "common/interrupt.h"
#include "common/text.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <unistd.h>

namespace qv6d
{

namespace fs = std::filesystem;

namespace
{

constexpr std::size_t WHOLE_FILE_MAX = 1 << 20; // bytes
constexpr std::size_t BUFFER_SIZE = 1 << 20;
constexpr std::size_t LINE_MAX_LENGTH = 4096;

} // namespace

input_file::input_file(const std::string &path, std::string_view expected)
    : name_(path == "-" ? "standard input" : shown(path)), file_(path == "-" ? STDIN_FILENO : -1)
{
    if (path == "-")
        return;
    std::error_code ignored;
    if (fs::is_directory(path, ignored))
        throw error(EXIT_INPUT, fmt::format("{}: is a directory, expected {}", name_, expected));
    file_ = descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
    if (file_.get() >= 0)
        return;
    const int reason = errno;
    throw_if_interrupted(); // while it waited for the other end of a pipe
    throw error(EXIT_INPUT, fmt::format("{}: cannot be opened: {}", name_, std::strerror(reason)));
}

input_file::input_file(descriptor file, const std::string &path) : name_(shown(path)), file_(std::move(file))
{
}

std::size_t input_file::read(char *to, std::size_t size)
{
    pollfd input = {file_.get(), POLLIN, 0};
    for (;;)
    {
        wait_for_input({&input, 1});
        // Not fread, which would wait for a pipe to fill the buffer.
        const ssize_t got = ::read(input.fd, to, size);
        const int reason = errno;
        throw_if_interrupted();
        if (got >= 0)
            return static_cast<std::size_t>(got);
        if (reason != EINTR && reason != EAGAIN)
            throw error(EXIT_INPUT, fmt::format("{}: cannot be read: {}", name_, std::strerror(reason)));
    }
}

std::string read_whole_file(const std::string &path, std::string_view expected)
{
    input_file file(path, expected);
    return read_whole_file(&file, expected);
}

std::string read_whole_file(input_file *file, std::string_view expected)
{
    std::string content(WHOLE_FILE_MAX + 1, '\0');
    std::size_t size = 0;
    for (std::size_t got = 1; got > 0 && size < content.size(); size += got)
        got = file->read(content.data() + size, content.size() - size);
    if (size > WHOLE_FILE_MAX)
        throw error(EXIT_MALFORMED,
                    fmt::format("{}: is larger than {} bytes: expected {}", file->name(), WHOLE_FILE_MAX, expected));
    content.resize(size);
    return content;
}

void expect_regular_file(const std::string &path, std::string_view why)
{
    std::error_code ignored;
    const fs::file_status status = fs::status(path, ignored);
    if (path == "-" || (fs::exists(status) && !fs::is_regular_file(status) && !fs::is_directory(status)))
        throw error(EXIT_INPUT, fmt::format("{}: expected a regular file: {}", path, why));
}

std::uint64_t size_of_file(const std::string &path)
{
    std::error_code failure;
    const std::uintmax_t size = fs::file_size(path, failure);
    return failure ? 0 : size;
}

line_reader::line_reader(const std::string &path, long_lines how)
    : line_reader(std::make_unique<input_file>(path, "a recording"), size_of_file(path), how)
{
}

line_reader::line_reader(std::unique_ptr<byte_source> source, std::uint64_t size, long_lines how)
    : file_(std::move(source)), how_(how), buffer_(BUFFER_SIZE), size_(size)
{
}

bool line_reader::refill()
{
    std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
    const std::size_t got = file_->read(buffer_.data() + end_, buffer_.size() - end_);
    end_ += got;
    return got > 0;
}

void line_reader::consume(std::size_t count)
{
    begin_ += count;
    consumed_ += count;
}

// To the next line feed or the end of the file; of a line that is too long, at least so far that this shows.
std::size_t line_reader::length_ahead()
{
    for (;;)
    {
        const char *begin = buffer_.data() + begin_;
        const std::size_t size = end_ - begin_;
        if (const void *newline = std::memchr(begin, '\n', size); newline != nullptr)
            return static_cast<std::size_t>(static_cast<const char *>(newline) - begin);
        if (size > LINE_MAX_LENGTH || !refill())
            return size;
    }
}

void line_reader::skip_line()
{
    std::size_t length = length_ahead();
    for (; length == end_ - begin_ && length > 0; length = length_ahead())
        consume(length);
    consume(std::min(length + 1, end_ - begin_));
    skipping_ = false;
}

void line_reader::take_too_long(std::string_view *line)
{
    ++line_;
    *line = std::string_view(buffer_.data() + begin_, LINE_MAX_LENGTH);
    if (how_ == long_lines::fail)
        fail(fmt::format("expected a line of at most {} characters; {}", LINE_MAX_LENGTH,
                         line->find('\r') == std::string_view::npos
                             ? "is this a text file?"
                             : "its lines end with carriage returns alone: save it with line feeds"));
    skipping_ = true; // at the next call: the line is still shown
}

bool line_reader::next(std::string_view *line)
{
    if (skipping_)
        skip_line();
    const std::size_t length = length_ahead();
    if (length > LINE_MAX_LENGTH)
    {
        take_too_long(line);
        return true;
    }
    if (begin_ == end_)
        return false;
    *line = std::string_view(buffer_.data() + begin_, length);
    consume(std::min(length + 1, end_ - begin_));
    ++line_;
    if (line->ends_with('\r'))
        line->remove_suffix(1);
    return true;
}

void line_reader::fail(const std::string &message) const
{
    throw error(EXIT_MALFORMED, fmt::format("{}:{}: {}", file_->name(), line_, message));
}

} // namespace qv6d
