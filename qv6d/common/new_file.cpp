#include "common/new_file.h"

#include "common/error.h"
#include "common/interrupt.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <random>

namespace qv6d
{

namespace
{

[[noreturn]] void fail(const std::string &shown)
{
    const int reason = errno;
    throw_if_interrupted();
    if (reason == EPIPE)
        throw error(EXIT_OUTPUT, ""); // the reader has seen enough and knows
    throw error(EXIT_OUTPUT, fmt::format("{}: cannot be written: {}", shown, std::strerror(reason)));
}

std::string name_of_its_own()
{
    std::random_device random;
    return fmt::format("qv6d-{:08x}{:08x}.part", random(), random());
}

} // namespace

descriptor open_folder_of(const std::string &folder, const std::string &shown)
{
    descriptor opened(open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (opened.get() < 0)
        fail(shown);
    return opened;
}

void write_all(int file, std::string_view bytes, const std::string &shown)
{
    while (!bytes.empty())
    {
        throw_if_interrupted();
        const ssize_t written = write(file, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR)
            fail(shown);
        bytes.remove_prefix(static_cast<std::size_t>(written < 0 ? 0 : written));
    }
}

new_file::new_file(int folder, const std::string &target, const std::string &shown)
    : folder_(folder), target_(target), shown_(shown)
{
    struct stat there;
    const bool replaces =
        fstatat(folder, target.c_str(), &there, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(there.st_mode); // links let all in
    create(replaces ? 0600 : 0666);
    try
    {
        if (replaces)
            take_mode_of(there);
    }
    catch (...)
    {
        remove();
        throw;
    }
}

new_file::~new_file()
{
    remove();
}

void new_file::remove() const
{
    if (!name_.empty())
        unlinkat(folder_, name_.c_str(), 0);
}

void new_file::create(mode_t mode)
{
    constexpr int attempts = 100; // each name is free but for a chance of 2^-64
    for (int k = 0; k < attempts; ++k)
    {
        std::string name = name_of_its_own();
        file_ = descriptor(openat(folder_, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
        if (file_.get() >= 0)
        {
            name_ = std::move(name);
            return;
        }
        if (errno != EEXIST)
            break;
    }
    fail(shown_);
}

// A group that this process cannot give the file to gets no rights to it.
void new_file::take_mode_of(const struct stat &target)
{
    mode_t mode = target.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO);
    if (target.st_gid != getegid() && fchown(file_.get(), static_cast<uid_t>(-1), target.st_gid) != 0)
        mode &= ~static_cast<mode_t>(S_IRWXG);
    if (fchmod(file_.get(), mode) != 0)
        throw error(EXIT_OUTPUT, fmt::format("{}: cannot be given its mode: {}", shown_, std::strerror(errno)));
}

void new_file::close()
{
    while (fsync(file_.get()) != 0)
    {
        if (errno == EINVAL || errno == ENOTSUP) // a file system that has no such thing
            break;
        if (errno != EINTR)
            fail(shown_);
        throw_if_interrupted();
    }
    if (::close(file_.release()) != 0 && errno != EINTR)
        fail(shown_);
}

void new_file::move()
{
    if (renameat(folder_, name_.c_str(), folder_, target_.c_str()) != 0)
        fail(shown_);
    name_.clear();
}

} // namespace qv6d
