// A line of the library's diagnostic log: the call that would print it, or the text that a device's log kept.
#pragma once

#include <cstdarg>
#include <span>
#include <string>
#include <string_view>

namespace qv6d
{

// Most lines of a replay are not read, and those that are hold numbers. A call becomes text only where someone asks for
// it: printing its numbers and reading them again takes a hundred times as long as to take them out of the call.
class log_entry
{
public:
    // A call as the library makes it. Format and arguments live as long as this.
    log_entry(const char *format, va_list *arguments);

    // "[operation-line]  text" without line feeds at its end. The text lives as long as this.
    explicit log_entry(std::string_view text);

    log_entry(const log_entry &) = delete;
    log_entry &operator=(const log_entry &) = delete;

    // Whether it is a line of the library at all.
    bool known() const
    {
        return !operation_.empty();
    }

    std::string_view operation() const
    {
        return operation_;
    }

    // The whole line, and what is said in it: without the operation. Both end before the line feeds.
    std::string_view text() const;
    std::string_view said() const;

    // Whether it is written whatever the debug switches say: "[INFO] ..." or "[ERR] ...". Most lines are not.
    bool reports() const
    {
        return begins("[INFO] ") || begins("[ERR] ");
    }

    bool begins(std::string_view words) const
    {
        return lead_.substr(0, words.size()) == words || (!whole_ && values_begin(words));
    }
    bool is(std::string_view words) const;

    // The values of what is said, whole, by the library's format without widths: %f, %d and %c. A call's values are not
    // rounded to what would be printed.
    template <typename... Value>
    bool read(std::string_view pattern, Value *...values) const
    {
        const place places[] = {values...};
        return format_ != nullptr ? take_values(pattern, places) : parse_values(pattern, places);
    }

private:
    struct place
    {
        place(double *to) : conversion('f'), number(to)
        {
        }
        place(int *to) : conversion('d'), integer(to)
        {
        }
        place(char *to) : conversion('c'), letter(to)
        {
        }

        char conversion;
        double *number = nullptr;
        int *integer = nullptr;
        char *letter = nullptr;
    };

    bool values_begin(std::string_view words) const;
    bool take_values(std::string_view pattern, std::span<const place> places) const;
    bool parse_values(std::string_view pattern, std::span<const place> places) const;

    std::string_view operation_;
    std::string_view lead_;        // what is said before the first value
    bool whole_ = true;            // that is all
    const char *format_ = nullptr; // of a call
    va_list *arguments_ = nullptr; // of a call
    mutable std::string text_;     // that of a call is empty until it is asked for
};

} // namespace qv6d
