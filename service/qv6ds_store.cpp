#include "qv6ds_store.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <type_traits>
#include <unistd.h>

namespace
{

// Raised when anything in qv6ds_kept changes its place or meaning.
constexpr std::uint32_t FORMAT = 1;

constexpr double NOISE_MAX = 100.0; // microtesla

struct head
{
    char mark[8];
    std::uint32_t format, size, sum, reserved;
};

struct file_content
{
    head first;
    qv6ds_kept kept;
};
static_assert(std::is_trivially_copyable_v<file_content>);

constexpr char MARK[8] = {'q', 'v', '6', 'd', 's', 'v', 'c', '\n'};
constexpr const char *NAME = "qv6dservice.state", *BEFORE = "qv6dservice.state.previous",
                     *NEW = "qv6dservice.state.new";

// CRC-32, IEEE 802.3.
std::uint32_t sum_of(const void *data, std::size_t size)
{
    std::uint32_t sum = ~0u;
    const auto *bytes = static_cast<const unsigned char *>(data);
    for (std::size_t i = 0; i < size; ++i)
    {
        sum ^= bytes[i];
        for (int bit = 0; bit < 8; ++bit)
            sum = (sum >> 1) ^ (0xedb88320u & (0u - (sum & 1u)));
    }
    return ~sum;
}

bool read_whole(int file, void *to, std::size_t size)
{
    auto *at = static_cast<char *>(to);
    while (size > 0)
    {
        const ssize_t got = read(file, at, size);
        if (got <= 0 && !(got < 0 && errno == EINTR))
            return false;
        if (got > 0)
        {
            at += got;
            size -= static_cast<std::size_t>(got);
        }
    }
    return true;
}

bool write_whole(int file, const void *from, std::size_t size)
{
    const auto *at = static_cast<const char *>(from);
    while (size > 0)
    {
        const ssize_t put = write(file, at, size);
        if (put < 0 && errno != EINTR)
            return false;
        if (put > 0)
        {
            at += put;
            size -= static_cast<std::size_t>(put);
        }
    }
    return true;
}

// A whole file can hold anything. What the library reads of its own part indexes nothing and bounds no loop.
bool is_sound(const qv6ds_kept &kept)
{
    return qv6ds_sphere_sound(kept.samples) && kept.noise > 0.0 && kept.noise <= NOISE_MAX &&
           qv6ds_sphere_fit(&kept.samples, kept.noise).good;
}

bool load(int directory, const char *name, qv6ds_kept *kept)
{
    const int file = openat(directory, name, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (file < 0)
        return false;
    file_content content;
    struct stat status;
    const bool whole = fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_size == sizeof content &&
                       read_whole(file, &content, sizeof content);
    close(file);
    if (!whole || std::memcmp(content.first.mark, MARK, sizeof MARK) != 0 || content.first.format != FORMAT ||
        content.first.size != sizeof content.kept || content.first.sum != sum_of(&content.kept, sizeof content.kept) ||
        !is_sound(content.kept))
        return false;
    *kept = content.kept;
    return true;
}

// The step that failed, or 0. Nothing is seen under a name that is read before it is on the disk.
int write_new(int directory, const file_content &content)
{
    unlinkat(directory, NEW, 0); // of a run that was cut off
    const int file = openat(directory, NEW, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (file < 0)
        return errno;
    int failure = write_whole(file, &content, sizeof content) && fsync(file) == 0 ? 0 : errno;
    if (close(file) != 0 && failure == 0)
        failure = errno;
    return failure;
}

// A file that is not whole is no reason to lose the one before it.
int replace(int directory)
{
    qv6ds_kept current;
    if (load(directory, NAME, &current) && renameat(directory, NAME, directory, BEFORE) != 0)
        return errno;
    if (renameat(directory, NEW, directory, NAME) != 0)
        return errno;
    return fsync(directory) == 0 ? 0 : errno;
}

} // namespace

bool qv6ds_store_load(const char *path, qv6ds_kept *kept)
{
    const int directory = open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory < 0)
        return false;
    const bool loaded = load(directory, NAME, kept) || load(directory, BEFORE, kept);
    close(directory);
    return loaded;
}

int qv6ds_store_save(const char *path, const qv6ds_kept &kept)
{
    const int directory = open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory < 0)
        return errno;
    file_content content = {};
    std::memcpy(content.first.mark, MARK, sizeof MARK);
    content.first.format = FORMAT;
    content.first.size = sizeof content.kept;
    content.kept = kept;
    content.first.sum = sum_of(&content.kept, sizeof content.kept);
    int failure = write_new(directory, content);
    if (failure == 0)
        failure = replace(directory);
    if (failure != 0)
        unlinkat(directory, NEW, 0);
    close(directory);
    return failure;
}
