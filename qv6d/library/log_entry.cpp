#include "library/log_entry.h"

#include <charconv>
#include <cstdio>
#include <cstring>

namespace qv6d
{

// What every format of the library begins with: operation and line.
static constexpr std::string_view HEAD = "[%-20s-%04d]  ";

// "[" and twenty letters and a hyphen, to the "]".
static constexpr std::size_t SHORTEST_HEAD = 22;

static void remove_line_feeds(std::string *text)
{
    while (!text->empty() && text->back() == '\n')
        text->pop_back();
}

// The format comes from the library's own lines.
static std::string printed(const char *format, va_list *arguments)
{
    char line[512];
    va_list again;
    va_copy(again, *arguments);
    const int length = std::vsnprintf(line, sizeof line, format, again);
    va_end(again);
    if (length < static_cast<int>(sizeof line))
        return length < 0 ? std::string() : std::string(line, static_cast<std::size_t>(length));
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    va_copy(again, *arguments);
    std::vsnprintf(text.data(), text.size(), format, again);
    va_end(again);
    text.pop_back();
    return text;
}

log_entry::log_entry(const char *format, va_list *arguments) : format_(format), arguments_(arguments)
{
    if (!std::string_view(format).starts_with(HEAD))
        return;
    format += HEAD.size();
    lead_ = std::string_view(format, std::strcspn(format, "%\n"));
    whole_ = format[lead_.size()] != '%';
    va_list all;
    va_copy(all, *arguments);
    operation_ = va_arg(all, const char *);
    static_cast<void>(va_arg(all, int)); // the line
    if (std::string_view(format) == "%s\n")
    {
        lead_ = va_arg(all, const char *);
        whole_ = true;
    }
    va_end(all);
}

log_entry::log_entry(std::string_view text) : text_(text)
{
    const std::size_t close = text.find("]  ");
    if (!text.starts_with('[') || close == std::string_view::npos || close < SHORTEST_HEAD)
        return;
    operation_ = text.substr(1, close - 1);
    operation_ = operation_.substr(0, operation_.find_first_of(" -"));
    lead_ = text.substr(close + 3);
}

std::string_view log_entry::text() const
{
    if (text_.empty() && format_ != nullptr)
    {
        text_ = printed(format_, arguments_);
        remove_line_feeds(&text_);
    }
    return text_;
}

std::string_view log_entry::said() const
{
    return whole_ ? lead_ : text().substr(text().find("]  ") + 3);
}

bool log_entry::values_begin(std::string_view words) const
{
    return words.starts_with(lead_) && said().starts_with(words);
}

bool log_entry::is(std::string_view words) const
{
    return whole_ ? lead_ == words : words.starts_with(lead_) && said() == words;
}

bool log_entry::take_values(std::string_view pattern, std::span<const place> places) const
{
    va_list values;
    va_copy(values, *arguments_);
    static_cast<void>(va_arg(values, const char *)); // the operation
    static_cast<void>(va_arg(values, int));          // the line
    const char *format = format_ + HEAD.size();
    std::size_t taken = 0;
    bool same = true;
    for (std::size_t i = 0; same && i < pattern.size(); ++i)
    {
        same = *format++ == pattern[i];
        if (!same || pattern[i] != '%')
            continue;
        while (*format == '-' || *format == '.' || (*format >= '0' && *format <= '9')) // how wide, how many digits
            ++format;
        same = *format++ == pattern[++i] && taken < places.size() && places[taken].conversion == pattern[i];
        if (!same)
            break;
        const place &to = places[taken++];
        if (to.number != nullptr)
            *to.number = va_arg(values, double);
        else if (to.integer != nullptr)
            *to.integer = va_arg(values, int);
        else
            *to.letter = static_cast<char>(va_arg(values, int));
    }
    va_end(values);
    return same && taken == places.size() && (*format == '\n' || *format == '\0');
}

// Removes a number from the beginning of the text.
template <typename Number>
static bool take_number(std::string_view *text, Number *number)
{
    const auto [end, problem] = std::from_chars(text->data(), text->data() + text->size(), *number);
    text->remove_prefix(static_cast<std::size_t>(end - text->data()));
    return problem == std::errc();
}

bool log_entry::parse_values(std::string_view pattern, std::span<const place> places) const
{
    std::string_view rest = lead_;
    std::size_t taken = 0;
    for (std::size_t i = 0; i < pattern.size(); ++i)
    {
        if (rest.empty())
            return false;
        if (pattern[i] != '%')
        {
            if (rest.front() != pattern[i])
                return false;
            rest.remove_prefix(1);
            continue;
        }
        if (taken == places.size() || places[taken].conversion != pattern[++i])
            return false;
        const place &to = places[taken++];
        if (to.letter != nullptr)
        {
            *to.letter = rest.front();
            rest.remove_prefix(1);
        }
        else if (to.number != nullptr ? !take_number(&rest, to.number) : !take_number(&rest, to.integer))
            return false;
    }
    return rest.empty() && taken == places.size();
}

} // namespace qv6d
