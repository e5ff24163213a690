// Text to a file, in large pieces. The file appears under its name when it is complete, so that a failed run leaves no
// half of it. What cannot be written is an error that names the file.
#pragma once

#include "common/descriptor.h"
#include "common/new_file.h"
#include "common/text.h"

#include <fmt/format.h>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace qv6d
{

// Throws EXIT_USAGE when an output is also an input or another output, or when standard input would be read twice.
// Empty names do not count.
void refuse_overlap(const std::vector<std::string> &inputs, const std::vector<std::string> &outputs);

class output
{
public:
    // `path` "-" writes standard output; a device or a pipe is written as it is. A link leads to the file that is
    // replaced, if it is the user's own or the system's. Throws qv6d::error when the file cannot be opened.
    explicit output(const std::string &path);

    output(const output &) = delete;
    output &operator=(const output &) = delete;

    // Text among the arguments is made safe to show: it may come from anywhere.
    template <typename... Arguments>
    void print(fmt::format_string<Arguments...> format, Arguments &&...arguments)
    {
        print_safe(format, safe(std::forward<Arguments>(arguments))...);
    }

    // As it is, but for a terminal.
    void write(std::string_view bytes);

    // To be called at the end: a destructor cannot say that the disk is full.
    void finish();

    // Several that belong together: none appears under its name before all are whole. Null is passed over.
    static void finish_all(std::initializer_list<output *> outputs);

private:
    template <typename Argument>
    static decltype(auto) safe(Argument &&argument)
    {
        if constexpr (std::is_convertible_v<Argument, std::string_view>)
            return shown(std::string_view(argument));
        else
            return std::forward<Argument>(argument);
    }

    template <typename... Arguments>
    void print_safe(fmt::string_view format, const Arguments &...arguments)
    {
        fmt::vformat_to(fmt::appender(buffer_), format, fmt::make_format_args(arguments...));
        if (buffer_.size() >= FLUSH_SIZE)
            flush();
    }

    void open_named(const std::string &path);
    void open_as_it_is(const std::string &path);
    void replace(const std::string &path);
    void flush();
    void complete();
    void appear();

    static constexpr std::size_t FLUSH_SIZE = 1 << 16;

    std::string shown_;
    descriptor folder_, file_;          // the latter of what is written as it is
    std::unique_ptr<new_file> partial_; // otherwise
    int to_ = -1;
    fmt::memory_buffer buffer_;
};

} // namespace qv6d
