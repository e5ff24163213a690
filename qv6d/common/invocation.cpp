#include "common/invocation.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string_view>

namespace qv6d
{

namespace
{

std::string line;

bool is_plain(char c)
{
    return std::isalnum(static_cast<unsigned char>(c)) != 0 ||
           std::string_view("-_=+:,./@%").find(c) != std::string::npos;
}

std::string shell_word(std::string_view word)
{
    if (!word.empty() && std::ranges::all_of(word, is_plain))
        return std::string(word);
    std::string text = "'";
    for (const char c : word)
        if (c == '\'')
            text.append("'\\''");
        else
            text.push_back(c);
    text.push_back('\'');
    return text;
}

std::time_t moment()
{
    const char *epoch = std::getenv("SOURCE_DATE_EPOCH");
    char *end = nullptr;
    const long long seconds = epoch != nullptr ? std::strtoll(epoch, &end, 10) : 0;
    return end != nullptr && end != epoch && *end == '\0' ? static_cast<std::time_t>(seconds) : std::time(nullptr);
}

} // namespace

void keep_command_line(int argc, const char *const *argv)
{
    line = argc > 0 ? shell_word(std::filesystem::path(argv[0]).filename().string()) : "";
    for (int k = 1; k < argc; ++k)
        line.append(" ").append(shell_word(argv[k]));
}

const std::string &command_line()
{
    return line;
}

std::string date_of_run()
{
    const std::time_t now = moment();
    std::tm parts = {};
    char text[64];
    if (gmtime_r(&now, &parts) == nullptr || std::strftime(text, sizeof text, "%Y-%m-%d %H:%M UTC", &parts) == 0)
        return "";
    return text;
}

} // namespace qv6d
