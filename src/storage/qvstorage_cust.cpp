#include "storage/qvstorage.h"

#include "platform/decimal_point.h"
#include "platform/log.h"
#include "storage/qvstorage_keys.h"
#include "storage/qvstorage_path.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

// Bytes of the longest line with its terminator, and one to tell a full line from a cut one.
static constexpr std::size_t LINE_SIZE = CUSTOMER_LINE_MAX + 2;

template <typename T>
static T field(const qvstorage_cfg &cfg, const customer_key &key)
{
    T value;
    std::memcpy(&value, reinterpret_cast<const char *>(&cfg) + key.offset, sizeof value);
    return value;
}

template <typename T>
static void set_field(qvstorage_cfg *cfg, const customer_key &key, T value)
{
    std::memcpy(reinterpret_cast<char *>(cfg) + key.offset, &value, sizeof value);
}

static const char *path_field(const qvstorage_cfg &cfg, const customer_key &key)
{
    return reinterpret_cast<const char *>(&cfg) + key.offset;
}

static double number(const char *text)
{
    const decimal_point point;
    return std::strtod(text, nullptr);
}

// The number cut toward zero; the nearest limit when it is beyond the range, 0 when it is NaN.
static int32_t integer(const char *text)
{
    const double value = number(text);
    constexpr int32_t low = std::numeric_limits<int32_t>::min(), high = std::numeric_limits<int32_t>::max();
    return std::isnan(value) ? 0 : static_cast<int32_t>(std::clamp<double>(value, low, high));
}

void setup_cust_cfg(qvstorage_cfg *cfg, const char *key_name, const char *value)
{
    QVLOG("[INFO] %s : %s = %s\n", __func__, key_name, value);
    const customer_key *key = find_customer_key(key_name);
    if (key == nullptr)
    {
        QVLOG("[ERR] Could not parse '%s = %s'\n", key_name, value);
        return;
    }

    switch (key->kind)
    {
    case key_kind::real:
        set_field(cfg, *key, number(value));
        break;
    case key_kind::integer:
        set_field(cfg, *key, integer(value));
        break;
    case key_kind::integer_at_most_40:
        set_field(cfg, *key, std::min<int32_t>(integer(value), QVHCAL_RBUF_MAX));
        break;
    case key_kind::path:
        store_path(reinterpret_cast<char *>(cfg) + key->offset, value, __func__);
        break;
    }
}

static bool is_skipped(const char *line)
{
    return line[0] == '#' || line[0] == '%' || std::strcmp(line, "\n") == 0 || std::strcmp(line, "\r\n") == 0;
}

// Removes blanks wherever they stand, and the newline. A carriage return stays: it is part of the value.
static void squeeze(char *line)
{
    char *end = std::remove_if(line, line + std::strlen(line), [](char c) { return c == ' ' || c == '\t'; });
    if (end != line && end[-1] == '\n')
        --end;
    *end = '\0';
}

static int32_t apply_line(qvstorage_cfg *cfg, char *line, const char *path)
{
    squeeze(line);
    char *equals = std::strchr(line, '=');
    if (equals == nullptr || std::strchr(equals + 1, '=') != nullptr || std::strcmp(line, "=") == 0)
    {
        QVLOG_AS("load_file_cust", "[ERR] String could not distinguished. Check (%s) in %s file.\n", line, path);
        return 0;
    }

    *equals = '\0';
    const char *key = line, *value = equals + 1;
    if (*key == '\0' || *value == '\0')
    {
        QVLOG_AS("load_file_cust", "[ERR] Could not find out value about %s. Check %s file.\n",
                 *key != '\0' ? key : value, path);
        return -1;
    }
    setup_cust_cfg(cfg, key, value);
    return 0;
}

// The next line as fgets reads it. Returns its length, in which a NUL byte hides nothing; 0 at the end or where reading
// fails.
static std::size_t read_line(char line[LINE_SIZE], std::FILE *stream)
{
    std::size_t length = 0;
    int c = 0;
    while (c != '\n' && length < LINE_SIZE - 1 && (c = std::fgetc(stream)) != EOF)
        line[length++] = static_cast<char>(c);
    line[length] = '\0';
    return std::ferror(stream) == 0 ? length : 0;
}

static int32_t apply_lines(qvstorage_cfg *cfg, std::FILE *stream, const char *path)
{
    char line[LINE_SIZE];
    std::size_t size = 0;
    while (const std::size_t length = read_line(line, stream))
    {
        size += length;
        if (length > CUSTOMER_LINE_MAX || size > CUSTOMER_FILE_MAX)
        {
            QVLOG_AS("load_file_cust", "[ERR] StringBuf OverFlow. Check %s file.\n", path);
            return -1;
        }
        if (!is_skipped(line) && apply_line(cfg, line, path) != 0)
            return -1;
    }
    return std::ferror(stream) != 0 ? -1 : 0;
}

// Null where there is no regular file: a pipe would hold the start up, a device may never end, and a terminal must not
// become that of the service.
static std::FILE *open_regular_file(const char *path)
{
    const int file = open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    struct stat status;
    if (file >= 0 && fstat(file, &status) == 0 && S_ISREG(status.st_mode))
        if (std::FILE *stream = fdopen(file, "r"))
            return stream;
    if (file >= 0)
        close(file);
    return nullptr;
}

int32_t load_file_cust(qvstorage_cfg *cfg, const char *path)
{
    std::FILE *stream = open_regular_file(path);
    if (stream == nullptr)
    {
        QVLOG("[ERR] Cannot open %s file.\n", path);
        return -1;
    }
    const int32_t result = apply_lines(cfg, stream, path);
    std::fclose(stream);
    return result;
}

static bool same(const qvstorage_cfg &a, const qvstorage_cfg &b, const customer_key &key)
{
    switch (key.kind)
    {
    case key_kind::real:
        return field<double>(a, key) == field<double>(b, key);
    case key_kind::path:
        return std::strncmp(path_field(a, key), path_field(b, key), QVENV_PATH_SIZE) == 0;
    default:
        return field<int32_t>(a, key) == field<int32_t>(b, key);
    }
}

int32_t check_cfg_was_changed(const qvstorage_cfg *a, const qvstorage_cfg *b)
{
    for (const customer_key &key : CUSTOMER_KEYS)
        if (key.compared && !same(*a, *b, key))
            return 1;
    return 0;
}
