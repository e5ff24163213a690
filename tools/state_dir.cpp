#include "state_dir.h"

#include "error.h"
#include "service.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fmt/format.h>

namespace qv6d
{

namespace fs = std::filesystem;

state_dir::state_dir(const std::string &name) : temporary_(name.empty())
{
    std::error_code failure;
    if (temporary_)
    {
        std::string pattern = (fs::temp_directory_path(failure) / "qv6d-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr)
            throw error(EXIT_OUTPUT, fmt::format("{}: cannot be created: {}", pattern, std::strerror(errno)));
        path_ = pattern;
        return;
    }
    path_ = fs::absolute(name);
    fs::create_directories(path_, failure);
    if (!fs::is_directory(path_))
        throw error(EXIT_OUTPUT, fmt::format("{}: is not a directory and cannot be created as one", name));
}

state_dir::~state_dir()
{
    std::error_code ignored;
    if (temporary_)
        fs::remove_all(path_, ignored);
}

void state_dir::install_config(const std::string &file) const
{
    const fs::path target = path_ / CUSTOMER_FILE;
    std::error_code failure;
    if (!fs::is_regular_file(file, failure))
        throw error(EXIT_INPUT, fmt::format("{}: expected a customer file", file));
    if (fs::equivalent(file, target, failure))
        return;
    fs::copy_file(file, target, fs::copy_options::overwrite_existing, failure);
    if (failure)
        throw error(EXIT_INPUT,
                    fmt::format("{}: cannot be copied to {}: {}", file, target.string(), failure.message()));
}

} // namespace qv6d
