#include "common/error.h"
#include "common/text.h"
#include "recordings/container.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>

namespace qv6d
{

namespace fs = std::filesystem;

namespace
{

constexpr std::size_t FILES_MAX = 2000;

// Shows a foreign name safely.
class named_file : public byte_source
{
public:
    explicit named_file(const fs::path &path, std::string shown)
        : file_(path.string(), "a recording"), shown_(std::move(shown))
    {
    }

    std::size_t read(char *to, std::size_t size) override
    {
        return file_.read(to, size);
    }

    const std::string &name() const override
    {
        return shown_;
    }

private:
    input_file file_;
    std::string shown_;
};

class folder : public container
{
public:
    explicit folder(const std::string &path) : path_(path), absolute_(fs::absolute(path))
    {
        std::error_code failure;
        for (fs::directory_iterator at(path, failure), end; !failure && at != end; at.increment(failure))
        {
            std::error_code ignored;
            if (at->is_regular_file(ignored))
                names_.push_back(at->path().filename().string());
            if (names_.size() > FILES_MAX)
                throw error(EXIT_MALFORMED, fmt::format("{}: holds more than {} files, expected those of one recording",
                                                        path, FILES_MAX));
        }
        if (failure)
            throw error(EXIT_INPUT, fmt::format("{}: cannot be read: {}", path, failure.message()));
        std::sort(names_.begin(), names_.end());
    }

    const std::vector<std::string> &names() const override
    {
        return names_;
    }

    std::unique_ptr<line_reader> open(std::size_t index) const override
    {
        const fs::path file = absolute_ / names_[index];
        return std::make_unique<line_reader>(
            std::make_unique<named_file>(file, (fs::path(path_) / printable(names_[index])).string()),
            size_of_file(file.string()));
    }

private:
    std::string path_;
    fs::path absolute_;
    std::vector<std::string> names_;
};

} // namespace

std::unique_ptr<container> open_folder(const std::string &path)
{
    return std::make_unique<folder>(path);
}

} // namespace qv6d
