// Text to a file, in large pieces. The file appears under its name when it is complete, so that a failed run leaves no
// half of it. What cannot be written is an error that names the file.
#pragma once

#include "common/file.h"

#include <fmt/format.h>
#include <string>
#include <vector>

namespace qv6d
{

// Throws EXIT_USAGE when an output is also an input or another output, or when standard input would be read twice.
// Empty names do not count.
void refuse_overlap(const std::vector<std::string> &inputs, const std::vector<std::string> &outputs);

class output
{
public:
    // `path` "-" writes standard output. Throws qv6d::error when the file cannot be opened.
    explicit output(const std::string &path);
    ~output(); // removes what was not finished

    output(const output &) = delete;
    output &operator=(const output &) = delete;

    template <typename... Arguments>
    void print(fmt::format_string<Arguments...> format, Arguments &&...arguments)
    {
        fmt::format_to(fmt::appender(buffer_), format, std::forward<Arguments>(arguments)...);
        if (buffer_.size() >= FLUSH_SIZE)
            flush();
    }

    // To be called at the end: a destructor cannot say that the disk is full.
    void finish();

private:
    void flush();

    static constexpr std::size_t FLUSH_SIZE = 1 << 16;

    std::string path_;
    std::string partial_; // the name while it is being written; empty when that is the file itself, as for a device
    file_handle file_;
    fmt::memory_buffer buffer_;
};

} // namespace qv6d
