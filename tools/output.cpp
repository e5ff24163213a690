#include "output.h"

#include "error.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

namespace qv6d
{

namespace fs = std::filesystem;

// Devices and pipes are written as they are; so is what a link points to.
static bool is_replaceable(const std::string &path)
{
    std::error_code ignored;
    const fs::file_status status = fs::symlink_status(path, ignored);
    return !fs::exists(status) || fs::is_regular_file(status);
}

output::output(const std::string &path) : path_(path == "-" ? "standard output" : fs::absolute(path).string())
{
    if (path == "-")
        file_.reset(stdout);
    else
    {
        if (is_replaceable(path))
            partial_ = path_ + ".part";
        file_.reset(std::fopen(partial_.empty() ? path_.c_str() : partial_.c_str(), "wb"));
    }
    if (file_ == nullptr)
    {
        partial_.clear();
        throw error(EXIT_OUTPUT, fmt::format("{}: cannot be written: {}", path, std::strerror(errno)));
    }
}

output::~output()
{
    if (!partial_.empty())
        std::remove(partial_.c_str());
}

void output::flush()
{
    const std::size_t written = std::fwrite(buffer_.data(), 1, buffer_.size(), file_.get());
    if (written != buffer_.size() || std::fflush(file_.get()) != 0)
        throw error(EXIT_OUTPUT, fmt::format("{}: cannot be written: {}", path_, std::strerror(errno)));
    buffer_.clear();
}

void output::finish()
{
    flush();
    if (!partial_.empty() && std::rename(partial_.c_str(), path_.c_str()) != 0)
        throw error(EXIT_OUTPUT, fmt::format("{}: cannot be written: {}", path_, std::strerror(errno)));
    partial_.clear();
}

} // namespace qv6d
