#include "state_dir.h"

#include "error.h"
#include "output.h"
#include "service.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fmt/format.h>
#include <fstream>
#include <sstream>

namespace qv6d
{

namespace fs = std::filesystem;

state_dir::state_dir(const std::string &name) : temporary_(name.empty())
{
    std::error_code failure;
    if (temporary_)
    {
        std::string pattern = (fs::temp_directory_path(failure) / "qv6d-XXXXXX").string();
        if (failure)
            throw error(EXIT_OUTPUT, fmt::format("TMPDIR: is no directory: {}", failure.message()));
        if (mkdtemp(pattern.data()) == nullptr)
            throw error(EXIT_OUTPUT, fmt::format("{}: cannot be created: {}", pattern, std::strerror(errno)));
        path_ = pattern;
        return;
    }
    path_ = fs::absolute(name);
    std::error_code ignored;
    fs::create_directories(path_, failure);
    if (!fs::is_directory(path_, ignored))
        throw error(EXIT_OUTPUT, fmt::format("{}: is not a directory and cannot be created as one: {}", name,
                                             failure ? failure.message() : std::strerror(ENOTDIR)));
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
    std::error_code ignored;
    if (fs::equivalent(file, target, ignored))
        return;
    const std::ifstream in(file, std::ios::binary);
    std::ostringstream text;
    if (!in || fs::is_directory(file, ignored) || (text << in.rdbuf(), in.bad()))
        throw error(EXIT_INPUT, fmt::format("{}: the customer file cannot be read: {}", file, std::strerror(errno)));
    output copy(target.string());
    copy.print("{}", text.str());
    copy.finish();
}

} // namespace qv6d
