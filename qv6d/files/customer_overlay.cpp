#include "files/customer_overlay.h"

#include "common/error.h"
#include "common/file.h"
#include "files/customer_file.h"
#include "library/customer_words.h"
#include "library/library_log.h"

#include <algorithm>
#include <fmt/format.h>

namespace qv6d
{

namespace
{

// Characters of the longest line that the library takes where another follows, without its newline.
constexpr std::size_t LONGEST_LINE = CUSTOMER_LINE_MAX - 1;

// As the library reads them: a line ends for it at a zero byte, too.
std::vector<std::string> lines_of(const std::string &text)
{
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < text.size();)
    {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        lines.push_back(text.substr(begin, std::min(text.find('\0', begin), end) - begin));
        begin = end + 1;
    }
    return lines;
}

// What the library would not take. Throws qv6d::error when it stops within the file.
std::vector<std::string> complaints_about(const std::string &path)
{
    log_watch watch;
    set_log_sink([&watch](const log_entry &line) { watch.take(line); });
    qvstorage_cfg cfg = {};
    const int32_t result = load_file_cust(&cfg, path.c_str());
    set_log_sink(nullptr);
    std::vector<std::string> complaints = plain_words(path, watch.complaints());
    if (result != 0 && !watch.customer_file_ended())
        throw error(EXIT_INPUT, fmt::format("{}: the library cannot read it", path));
    if (result != 0)
        throw error(EXIT_MALFORMED, (complaints.empty() ? path : complaints.back()) + ": it stops reading there");
    return complaints;
}

// The key that a line sets, as the library reads it; empty when it sets none.
std::string key_of(std::string line)
{
    if (line.starts_with('#') || line.starts_with('%') || std::count(line.begin(), line.end(), '=') != 1)
        return "";
    line.resize(line.find('='));
    std::erase_if(line, [](char c) { return c == ' ' || c == '\t'; });
    return line;
}

} // namespace

customer_overlay::customer_overlay(const std::string &base)
{
    if (base.empty())
        return;
    expect_regular_file(base, "the library reads it too");
    const std::string text = read_whole_file(base, "a customer file");
    expect_customer_file(base, text);
    lines_ = lines_of(text);
    complaints_ = complaints_about(base);
    if (!lines_.empty() && lines_.back().size() > LONGEST_LINE)
        throw error(EXIT_MALFORMED,
                    fmt::format("{}:{}: is too long for the library to read a line after it: shorten it to "
                                "{} characters",
                                base, lines_.size(), LONGEST_LINE));
}

std::string customer_overlay::with(const std::vector<std::pair<std::string, double>> &values) const
{
    std::vector<bool> set(values.size());
    const auto setting = [&](std::size_t i) { return fmt::format("{} = {}\n", values[i].first, values[i].second); };
    std::string text;
    for (const std::string &line : lines_)
    {
        const std::string key = key_of(line);
        const auto found = std::ranges::find(values, key, &std::pair<std::string, double>::first);
        const auto i = static_cast<std::size_t>(found - values.begin());
        text += found == values.end() ? line + "\n" : setting(i);
        if (found != values.end())
            set[i] = true;
    }
    for (std::size_t i = 0; i < values.size(); ++i)
        if (!set[i])
            text += setting(i);
    return text;
}

} // namespace qv6d
