#include "sandbox.h"

#include "platform/log.h"
#include "qv6dalgo.h"
#include "storage/qvstorage_object.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/types.h>

namespace
{

std::string lines;

struct open_file
{
    std::string &content;
    std::size_t at;
};

ssize_t read_cookie(void *cookie, char *bytes, std::size_t size)
{
    auto *file = static_cast<open_file *>(cookie);
    if (file->at >= file->content.size())
        return 0;
    const std::size_t n = file->content.copy(bytes, size, file->at);
    file->at += n;
    return static_cast<ssize_t>(n);
}

ssize_t write_cookie(void *cookie, const char *bytes, std::size_t size)
{
    auto *file = static_cast<open_file *>(cookie);
    if (file->at >= sandbox::size_limit)
        return 0;
    const std::size_t n = std::min(size, sandbox::size_limit - file->at);
    if (file->content.size() < file->at + n)
        file->content.resize(file->at + n);
    file->content.replace(file->at, n, bytes, n);
    file->at += n;
    return static_cast<ssize_t>(n);
}

int seek_cookie(void *cookie, off64_t *offset, int whence)
{
    auto *file = static_cast<open_file *>(cookie);
    const std::size_t base = whence == SEEK_CUR ? file->at : whence == SEEK_END ? file->content.size() : 0;
    const off64_t to = static_cast<off64_t>(base) + *offset;
    if (to < 0)
        return -1;
    file->at = static_cast<std::size_t>(to);
    *offset = to;
    return 0;
}

int close_cookie(void *cookie)
{
    delete static_cast<open_file *>(cookie);
    return 0;
}

} // namespace

namespace sandbox
{

std::map<std::string, std::string, std::less<>> files;
std::size_t size_limit = NO_LIMIT;

void reset()
{
    files.clear();
    size_limit = NO_LIMIT;
    lines.clear();
    qvstorage_object = {};
    accDataIn = gyroDataIn = magDataIn = {};
    accRawDataReady = gyroRawDataReady = magRawDataReady = 0;
    algo_out_hcal = {};
    algo_out_fusion = {};
}

bool logged(std::string_view text)
{
    const bool found = lines.find(text) != std::string::npos;
    lines.clear();
    return found;
}

void claim(bool holds, const char *what)
{
    if (holds)
        return;
    std::fprintf(stderr, "this does not hold: %s\n", what);
    std::abort();
}

} // namespace sandbox

extern "C" std::FILE *sandbox_fopen(const char *path, const char *mode)
{
    const bool creates = mode[0] == 'w';
    if (*path == '\0' || (!creates && !sandbox::files.contains(path)))
        return nullptr;
    std::string &content = sandbox::files[path];
    if (creates)
        content.clear();
    return fopencookie(new open_file{content, 0}, mode, {read_cookie, write_cookie, seek_cookie, close_cookie});
}

// Formats every line, so that a bad argument shows, and keeps what a claim may ask for.
extern "C" int __android_log_print(int, const char *, const char *fmt, ...)
{
    constexpr std::size_t kept = 1 << 16;
    static char line[8192];
    va_list arguments;
    va_start(arguments, fmt);
    const int length = std::vsnprintf(line, sizeof line, fmt, arguments);
    va_end(arguments);

    const std::size_t written = std::strlen(line);
    sandbox::claim(length > 0 && static_cast<std::size_t>(length) == written, "a log line is shorter than 8192 bytes");
    sandbox::claim(line[0] == '[' && line[written - 1] == '\n', "a log line opens with its operation and ends");
    if (lines.size() > kept)
        lines.clear();
    lines += line;
    return length;
}
