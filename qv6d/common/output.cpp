#include "common/output.h"

#include "common/error.h"
#include "common/interrupt.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>

namespace qv6d
{

namespace fs = std::filesystem;

namespace
{

// One that cannot be looked up is as it is written. Absolute first: of "x" and "./x" where there is no x yet, the
// look-up makes two names.
fs::path looked_up(const std::string &path)
{
    std::error_code failure;
    const fs::path found = fs::weakly_canonical(fs::absolute(path), failure);
    return failure ? fs::absolute(path).lexically_normal() : found;
}

bool same_file(const std::string &a, const std::string &b)
{
    if (a.empty() || b.empty() || a == "-" || b == "-")
        return a == b && !a.empty();
    std::error_code ignored;
    const bool device = fs::exists(a, ignored) && !fs::is_regular_file(a, ignored); // may well be written twice
    return !device && (looked_up(a) == looked_up(b) ||
                       fs::equivalent(a, b, ignored)); // the latter by device and inode: also of two names of one file
}

// A file of a folder that is read.
bool is_member(const std::string &file, const std::string &folder)
{
    std::error_code ignored;
    return !file.empty() && fs::is_directory(folder, ignored) && fs::is_regular_file(file, ignored) &&
           fs::equivalent(fs::absolute(file).parent_path(), folder, ignored);
}

[[noreturn]] void fail(const std::string &path, const std::string &reason)
{
    throw error(EXIT_OUTPUT, fmt::format("{}: cannot be written: {}", path, reason));
}

// The standard stream that the file is, as /dev/stdout names one; -1 for any other.
int standard_stream(const struct stat &file)
{
    for (const int stream : {STDOUT_FILENO, STDERR_FILENO})
        if (struct stat of; fstat(stream, &of) == 0 && of.st_dev == file.st_dev && of.st_ino == file.st_ino)
            return stream;
    return -1;
}

// Where a link leads. One that somebody else has put there could lead to any file of the user's.
std::string behind_links(const std::string &path)
{
    constexpr int most = 40; // links in a row, as the system has it
    fs::path file = path;
    struct stat link;
    for (int k = 0; k < most && lstat(file.c_str(), &link) == 0; ++k)
    {
        if (!S_ISLNK(link.st_mode))
            return file.string();
        if (link.st_uid != geteuid() && link.st_uid != 0)
            fail(path, "is a link of another user: name the file that it leads to");
        std::error_code failure; // the next turn finds nothing then
        file = file.parent_path() / fs::read_symlink(file, failure);
    }
    if (file != path)
        fail(path, "is a link that leads nowhere");
    return path;
}

} // namespace

void refuse_overlap(const std::vector<std::string> &inputs, const std::vector<std::string> &outputs)
{
    if (std::count(inputs.begin(), inputs.end(), "-") > 1)
        throw error(EXIT_USAGE, "standard input: would be read twice");
    for (std::size_t k = 0; k < outputs.size(); ++k)
    {
        for (const std::string &input : inputs)
            if (outputs[k] != "-" && (same_file(outputs[k], input) || is_member(outputs[k], input)))
                throw error(EXIT_USAGE, fmt::format("{}: is read, and would be overwritten", outputs[k]));
        for (std::size_t other = 0; other < k; ++other)
            if (same_file(outputs[k], outputs[other]))
                throw error(EXIT_USAGE, fmt::format("{}: would be written twice", outputs[k]));
    }
}

output::output(const std::string &path) : shown_(path == "-" ? "standard output" : path)
{
    if (path == "-")
        to_ = STDOUT_FILENO;
    else
        open_named(path);
}

void output::open_named(const std::string &path)
{
    struct stat there;
    if (stat(path.c_str(), &there) != 0)
    {
        if (errno != ENOENT)
            fail(path, std::strerror(errno));
        return replace(behind_links(path));
    }
    to_ = standard_stream(there);
    if (to_ >= 0)
        return;
    if (S_ISREG(there.st_mode))
        replace(behind_links(path));
    else
        open_as_it_is(path);
}

void output::open_as_it_is(const std::string &path)
{
    file_ = descriptor(open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY));
    to_ = file_.get();
    const int reason = errno;
    throw_if_interrupted(); // while it waited for the other end of a pipe
    if (to_ < 0)
        fail(path, std::strerror(reason));
    struct stat opened;
    if (fstat(to_, &opened) != 0 || S_ISREG(opened.st_mode))
        fail(path, "has become another file meanwhile");
}

void output::replace(const std::string &path)
{
    const fs::path file = fs::absolute(path);
    folder_ = open_folder_of(file.parent_path().string(), shown_);
    partial_ = std::make_unique<new_file>(folder_.get(), file.filename().string(), shown_);
    to_ = partial_->descriptor_to_write();
}

void output::write(std::string_view bytes)
{
    const std::string safe = isatty(to_) != 0 ? qv6d::shown(bytes) : "";
    buffer_.append(safe.empty() ? bytes : std::string_view(safe));
    if (buffer_.size() >= FLUSH_SIZE)
        flush();
}

void output::flush()
{
    throw_if_interrupted();
    write_all(to_, {buffer_.data(), buffer_.size()}, shown_);
    buffer_.clear();
}

void output::complete()
{
    flush();
    if (partial_)
        partial_->close();
    else if (file_.get() > STDERR_FILENO && close(file_.release()) != 0 && errno != EINTR)
        fail(shown_, std::strerror(errno));
}

void output::appear()
{
    if (partial_)
        partial_->move();
}

void output::finish()
{
    finish_all({this});
}

void output::finish_all(std::initializer_list<output *> outputs)
{
    for (output *one : outputs)
        if (one != nullptr)
            one->complete();
    for (output *one : outputs)
        if (one != nullptr)
            one->appear();
}

} // namespace qv6d
