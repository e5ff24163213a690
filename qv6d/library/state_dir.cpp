#include "library/state_dir.h"

#include "common/error.h"
#include "common/file.h"
#include "common/interrupt.h"
#include "common/new_file.h"
#include "library/customer_words.h"
#include "qv6dalgo.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <fmt/format.h>
#include <memory>
#include <sys/file.h>
#include <sys/stat.h>

namespace qv6d
{

namespace fs = std::filesystem;

namespace
{

// In the order in which they are put in place: where that ends early, the configuration backup is not that of the
// customer file, and the next start begins afresh.
constexpr const char *FILES[] = {QV6D_INIT_CUSTCFG_NAME, QV6D_INIT_DATBAK_NAME, QV6D_INIT_CFGBAK_NAME};

fs::path make_private_folder()
{
    std::error_code failure;
    const fs::path temporary = fs::temp_directory_path(failure);
    if (failure)
        throw error(EXIT_OUTPUT, fmt::format("TMPDIR: is no directory: {}", failure.message()));
    std::string pattern = (fs::absolute(temporary) / "qv6d-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr)
        throw error(EXIT_OUTPUT, fmt::format("{}: cannot be created: {}", pattern, std::strerror(errno)));
    return pattern;
}

// A file of the private folder, with the mode that it is to have.
void write_private(const fs::path &path, std::string_view text, mode_t mode)
{
    const descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, mode | S_IWUSR));
    if (file.get() < 0)
        throw error(EXIT_OUTPUT, fmt::format("{}: cannot be written: {}", path.string(), std::strerror(errno)));
    write_all(file.get(), text, path.string());
    if ((mode & S_IWUSR) == 0 && fchmod(file.get(), mode) != 0)
        throw error(EXIT_OUTPUT, fmt::format("{}: cannot be given its mode: {}", path.string(), std::strerror(errno)));
}

// While this lives, no other run copies or replaces the files of the directory: those of two runs do not belong
// together. It waits for 1 s at most, for anyone who can read the directory can hold it.
class directory_lock
{
public:
    explicit directory_lock(int directory) : directory_(directory)
    {
        constexpr timespec step = {0, 10'000'000};
        for (int left = 100; flock(directory, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK && left > 0; --left)
        {
            throw_if_interrupted();
            nanosleep(&step, nullptr);
        }
    }

    ~directory_lock()
    {
        flock(directory_, LOCK_UN);
    }

    directory_lock(const directory_lock &) = delete;
    directory_lock &operator=(const directory_lock &) = delete;

private:
    int directory_;
};

// As any new file.
void write_customer_file(const fs::path &folder, std::string_view text)
{
    const mode_t usual = umask(0);
    umask(usual);
    write_private(folder / QV6D_INIT_CUSTCFG_NAME, text, 0666 & ~usual);
}

} // namespace

state_dir::state_dir(const std::string &name) : name_(name)
{
    try
    {
        if (!name.empty())
            open_directory();
        path_ = make_private_folder();
        const directory_lock lock(directory_.get());
        for (const char *file : FILES)
            take_in(file);
    }
    catch (...)
    {
        remove();
        throw;
    }
}

state_dir::~state_dir()
{
    remove();
}

void state_dir::remove() const
{
    std::error_code failure;
    fs::remove_all(path_, failure);
    if (failure) // for a moment, perhaps
        fs::remove_all(path_, failure);
    for (const fs::path &folder : created_)
        rmdir(folder.c_str());
}

std::string state_dir::shown(const char *file) const
{
    return (fs::path(name_) / file).string();
}

void state_dir::open_directory()
{
    std::error_code failure, ignored;
    for (fs::path folder = fs::absolute(name_); !fs::exists(folder, ignored); folder = folder.parent_path())
        created_.push_back(folder);
    fs::create_directories(name_, failure);
    if (!fs::is_directory(name_, ignored))
        throw error(EXIT_OUTPUT, fmt::format("{}: is not a directory and cannot be created as one: {}", name_,
                                             failure ? failure.message() : std::strerror(ENOTDIR)));
    name_ = fs::absolute(name_).string();
    directory_ = descriptor(open(name_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (directory_.get() < 0 || faccessat(directory_.get(), ".", W_OK | X_OK, 0) != 0)
        throw error(EXIT_OUTPUT, fmt::format("{}: cannot be written: {}", name_, std::strerror(errno)));
}

void state_dir::take_in(const char *file) const
{
    if (directory_.get() < 0)
        return;
    // Not blocking, for what looks like a file may be a pipe.
    descriptor kept(openat(directory_.get(), file, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status;
    if (kept.get() < 0 && errno == ENOENT)
        return;
    if (kept.get() < 0 && errno != ELOOP)
        throw error(EXIT_INPUT, fmt::format("{}: cannot be opened: {}", shown(file), std::strerror(errno)));
    if (kept.get() < 0 || fstat(kept.get(), &status) != 0 || !S_ISREG(status.st_mode))
        throw error(EXIT_INPUT, fmt::format("{}: is a link or no regular file: remove it, or name another state "
                                            "directory",
                                            shown(file)));
    input_file source(std::move(kept), shown(file));
    write_private(path_ / file, read_whole_file(&source, "a customer file or record file"),
                  status.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO));
}

void state_dir::install_config(const std::string &file) const
{
    const std::string text = read_whole_file(file, "a customer file");
    expect_customer_file(file == "-" ? "standard input" : file, text);
    write_customer_file(path_, text);
}

void state_dir::keep()
{
    if (directory_.get() < 0)
        return;
    std::vector<std::unique_ptr<new_file>> whole;
    for (const char *file : FILES)
    {
        const fs::path copy = path_ / file;
        std::error_code ignored;
        if (!fs::exists(copy, ignored))
            continue;
        whole.push_back(std::make_unique<new_file>(directory_.get(), file, shown(file)));
        write_all(whole.back()->descriptor_to_write(), read_whole_file(copy.string(), "a record file"), shown(file));
        whole.back()->close();
    }
    const directory_lock lock(directory_.get());
    for (const auto &file : whole)
        file->move();
    created_.clear();
}

std::vector<std::string> record_files_in(const std::string &state)
{
    std::vector<std::string> names;
    for (const char *file : FILES)
        if (!state.empty())
            names.push_back((fs::path(state) / file).string());
    return names;
}

void make_state_dir(const std::filesystem::path &folder, std::string_view text)
{
    if (mkdir(folder.c_str(), S_IRWXU) != 0)
        throw error(EXIT_OUTPUT, fmt::format("{}: cannot be created: {}", folder.string(), std::strerror(errno)));
    write_customer_file(folder, text);
}

} // namespace qv6d
