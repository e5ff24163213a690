#include "output.h"

#include "error.h"

#include <cerrno>
#include <cstring>

namespace qv6d
{

output::output(const std::string &path)
    : path_(path == "-" ? "standard output" : path), file_(path == "-" ? stdout : std::fopen(path.c_str(), "wb"))
{
    if (file_ == nullptr)
        throw error(EXIT_OUTPUT, fmt::format("{}: cannot be written: {}", path_, std::strerror(errno)));
}

void output::flush()
{
    const std::size_t written = std::fwrite(buffer_.data(), 1, buffer_.size(), file_.get());
    if (written != buffer_.size() || std::fflush(file_.get()) != 0)
        throw error(EXIT_OUTPUT, fmt::format("{}: cannot be written: {}", path_, std::strerror(errno)));
    buffer_.clear();
}

} // namespace qv6d
