#include "library/state_dir.h"

#include "common/error.h"
#include "common/file.h"
#include "common/output.h"
#include "library/customer_words.h"
#include "qv6dalgo.h"

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
    const fs::path target = path_ / QV6D_INIT_CUSTCFG_NAME;
    std::error_code ignored;
    if (fs::equivalent(file, target, ignored))
        return;
    const std::string text = read_whole_file(file, "a customer file");
    expect_customer_file(file == "-" ? "standard input" : file, text);
    output copy(target.string());
    copy.print("{}", text);
    copy.finish();
}

} // namespace qv6d
