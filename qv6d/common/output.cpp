#include "common/output.h"

#include "common/error.h"
#include "common/interrupt.h"

#include <algorithm>
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

static bool same_file(const std::string &a, const std::string &b)
{
    if (a.empty() || b.empty() || a == "-" || b == "-")
        return a == b && !a.empty();
    std::error_code ignored;
    const bool device = fs::exists(a, ignored) && !fs::is_regular_file(a, ignored); // may well be written twice
    return !device &&
           (fs::absolute(a).lexically_normal() == fs::absolute(b).lexically_normal() || fs::equivalent(a, b, ignored));
}

void refuse_overlap(const std::vector<std::string> &inputs, const std::vector<std::string> &outputs)
{
    if (std::count(inputs.begin(), inputs.end(), "-") > 1)
        throw error(EXIT_USAGE, "standard input: would be read twice");
    for (std::size_t k = 0; k < outputs.size(); ++k)
    {
        for (const std::string &input : inputs)
            if (outputs[k] != "-" && same_file(outputs[k], input))
                throw error(EXIT_USAGE, fmt::format("{}: is read, and would be overwritten", outputs[k]));
        for (std::size_t other = 0; other < k; ++other)
            if (same_file(outputs[k], outputs[other]))
                throw error(EXIT_USAGE, fmt::format("{}: would be written twice", outputs[k]));
    }
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
        throw_if_interrupted(); // while it waited for the other end of a pipe
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
    throw_if_interrupted();
    const std::size_t written = std::fwrite(buffer_.data(), 1, buffer_.size(), file_.get());
    const bool failed = written != buffer_.size() || std::fflush(file_.get()) != 0;
    buffer_.clear();
    if (!failed)
        return;
    throw_if_interrupted();
    if (errno == EPIPE)
        throw error(EXIT_OUTPUT, ""); // the reader has seen enough and knows
    throw error(EXIT_OUTPUT, fmt::format("{}: cannot be written: {}", path_, std::strerror(errno)));
}

void output::finish()
{
    flush();
    if (!partial_.empty() && std::rename(partial_.c_str(), path_.c_str()) != 0)
        throw error(EXIT_OUTPUT, fmt::format("{}: cannot be written: {}", path_, std::strerror(errno)));
    partial_.clear();
}

} // namespace qv6d
