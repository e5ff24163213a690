#include "tuning/recording_list.h"

#include "common/error.h"
#include "common/file.h"
#include "common/text.h"
#include "recordings/recording.h"
#include "tuning/sweep.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>

namespace qv6d
{

namespace fs = std::filesystem;

namespace
{

constexpr std::string_view OFFSET = "offset=";

class list_reader
{
public:
    explicit list_reader(const std::string &path) : lines_(path), folder_(fs::path(path).parent_path())
    {
    }

    std::vector<listed_recording> read()
    {
        std::vector<listed_recording> all;
        for (std::string_view line; lines_.next(&line);)
        {
            line = trimmed(line);
            if (!line.empty() && !line.starts_with('#'))
                take(line, &all);
        }
        return all;
    }

private:
    void take(std::string_view line, std::vector<listed_recording> *all)
    {
        listed_recording found;
        bool left_out = false;
        for (std::string_view word = first_word(line); take_word(word, &found, &left_out); word = first_word(line))
            line = trimmed(line.substr(word.size()));
        if (line.empty())
            lines_.fail("expected the path of a recording after the words");
        if (found.expected == expectation::does_not_calibrate && found.offset)
            lines_.fail("a recording that must not calibrate has no offset to be measured against");
        found.path = (folder_ / std::string(line)).string();
        if (!left_out)
            all->push_back(found);
    }

    static std::string_view first_word(std::string_view line)
    {
        return line.substr(0, line.find_first_of(" \t"));
    }

    bool take_word(std::string_view word, listed_recording *found, bool *left_out)
    {
        if (word == "must")
            found->expected = expectation::calibrates;
        else if (word == "must-not")
            found->expected = expectation::does_not_calibrate;
        else if (word == "leave-out")
            *left_out = true;
        else if (word.starts_with(OFFSET))
            found->offset = offset_of(word.substr(OFFSET.size()));
        else
            return false;
        return true;
    }

    std::array<double, 3> offset_of(std::string_view text)
    {
        try
        {
            const std::vector<double> values = parse_values("offset", text);
            if (values.size() == 3)
                return {values[0], values[1], values[2]};
        }
        catch (const error &)
        {
        }
        lines_.fail(fmt::format("expected offset=X,Y,Z in µT, found \"{}\"", printable(text)));
    }

    line_reader lines_;
    const fs::path folder_;
};

bool is_csv(const fs::path &path)
{
    std::string extension = path.extension().string();
    std::ranges::transform(extension, extension.begin(), [](unsigned char c) { return std::tolower(c); });
    return extension == ".csv";
}

std::vector<listed_recording> recordings_in(const std::string &folder)
{
    std::vector<listed_recording> all;
    std::error_code failure, ignored;
    for (fs::directory_iterator at(folder, failure), end; !failure && at != end; at.increment(failure))
        if (is_csv(at->path()) && at->is_regular_file(ignored))
            all.push_back({at->path().string()});
    if (failure)
        throw error(EXIT_INPUT, fmt::format("{}: cannot be read: {}", folder, failure.message()));
    if (all.empty())
        throw error(EXIT_INPUT, fmt::format("{}: is a directory without any .csv file", folder));
    std::ranges::sort(all, {}, &listed_recording::path);
    return all;
}

} // namespace

std::vector<listed_recording> recordings_of(const std::vector<std::string> &arguments)
{
    std::vector<listed_recording> all;
    std::error_code ignored;
    for (const std::string &argument : arguments)
    {
        if (argument.starts_with('@'))
            std::ranges::copy(list_reader(argument.substr(1)).read(), std::back_inserter(all));
        else if (fs::is_directory(argument, ignored) && !is_recording_folder(argument))
            std::ranges::copy(recordings_in(argument), std::back_inserter(all));
        else
            all.push_back({argument});
    }
    if (all.empty())
        throw error(EXIT_INPUT, fmt::format("{}: names no recording", arguments[0]));
    return all;
}

} // namespace qv6d
