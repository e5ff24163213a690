#include "storage/qvfile.h"

#include "platform/log.h"

#include <cstdio>
#include <cstring>
#include <limits>

static constexpr long VERSION_AT = 1;
static constexpr long PAYLOAD_AT = 9;

// In the log line about the last item of a file.
static constexpr const char *LAST_ITEM = "ver name";

static bool is_described(const qvfile &file)
{
    constexpr int32_t frame = 18; // bytes: two marks and two versions
    return file.name[0] != '\0' && file.size >= 0 && file.size <= std::numeric_limits<int32_t>::max() - frame;
}

static long second_version_at(const qvfile &file)
{
    return PAYLOAD_AT + file.size;
}

static long tail_mark_at(const qvfile &file)
{
    return second_version_at(file) + static_cast<long>(sizeof file.version);
}

// The end of the frame is one item: a file without its tail mark is worth as little as one without its version.
struct QV_PACKED frame_end
{
    double version;
    char tail_mark;
};

static bool write_at(std::FILE *stream, long offset, const void *item, std::size_t size)
{
    std::fseek(stream, offset, SEEK_SET);
    return std::fwrite(item, size, 1, stream) == 1;
}

static bool read_at(std::FILE *stream, long offset, void *item, std::size_t size)
{
    return std::fseek(stream, offset, SEEK_SET) == 0 && std::fread(item, size, 1, stream) == 1;
}

int32_t qvfile_conf(qvfile *file, const char *name, int32_t size, double version)
{
    file->head_mark = QVFILE_HEAD_MARK;
    file->tail_mark = QVFILE_TAIL_MARK;
    file->version = version;
    file->size = size;
    file->name[0] = '\0';
    if (std::strlen(name) >= sizeof file->name)
        return -1;
    std::strcpy(file->name, name);
    return 0;
}

static int32_t cannot_write(const char *item, const qvfile &file)
{
    QVLOG_AS("qvfile_write", "[ERR] Connot write %s to %s\n", item, file.name);
    return -1;
}

static int32_t write_items(std::FILE *stream, const qvfile &file, const void *payload)
{
    const frame_end end = {file.version, file.tail_mark};
    const struct
    {
        long offset;
        const void *bytes;
        std::size_t size;
        const char *name;
    } items[] = {
        {VERSION_AT, &file.version, sizeof file.version, "ver name"},
        {PAYLOAD_AT, payload, static_cast<std::size_t>(file.size), "data"},
        {second_version_at(file), &end, sizeof end, LAST_ITEM},
    };
    write_at(stream, 0, &file.head_mark, 1); // not tested: where it cannot be written, the version cannot either
    for (const auto &item : items)
        if (!write_at(stream, item.offset, item.bytes, item.size))
            return cannot_write(item.name, file);
    return 0;
}

int32_t qvfile_write(const qvfile *file, const void *payload)
{
    if (!is_described(*file))
        return -1;
    std::FILE *stream = std::fopen(file->name, "w+");
    if (stream == nullptr)
        return -1;
    // Unbuffered: a full disk shows at the item that it stops, not after the last one was reported as written.
    std::setvbuf(stream, nullptr, _IONBF, 0);
    const int32_t result = write_items(stream, *file, payload);
    // Some file systems say only here that the last item did not fit.
    const bool closed = std::fclose(stream) == 0;
    return result == 0 && !closed ? cannot_write(LAST_ITEM, *file) : result;
}

static bool frame_intact(std::FILE *stream, const qvfile &file)
{
    char mark;
    double version;
    return read_at(stream, 0, &mark, 1) && mark == file.head_mark &&
           read_at(stream, VERSION_AT, &version, sizeof version) && version == file.version &&
           read_at(stream, second_version_at(file), &version, sizeof version) && version == file.version &&
           read_at(stream, tail_mark_at(file), &mark, 1) && mark == file.tail_mark;
}

int32_t qvfile_read(const qvfile *file, void *destination)
{
    if (!is_described(*file))
        return -1;
    std::FILE *stream = std::fopen(file->name, "r+");
    if (stream == nullptr)
        return -1;

    int32_t result = -1;
    if (frame_intact(stream, *file))
    {
        if (read_at(stream, PAYLOAD_AT, destination, static_cast<std::size_t>(file->size)))
            result = 0;
        else
            QVLOG("[ERR] length(%d) of Data is not valid\n", 0);
    }
    std::fclose(stream);
    return result;
}
