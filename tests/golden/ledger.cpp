#include "scenarios.h"

#include <algorithm>
#include <bit>
#include <cinttypes>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>

bool print_values = false;

static constexpr const char *NAMES[OUTPUTS] = {"input",       "calibration", "status", "learnt",
                                               "exported",    "operations",  "files",  "orientation",
                                               "inclination", "polar-angle", "log"};
static std::uint64_t hashes[OUTPUTS]; // 0: nothing was put out

void print_hashes(const char *scenario)
{
    for (int what = 0; what < OUTPUTS; ++what)
        if (hashes[what] != 0)
            std::printf("%s %s %016" PRIx64 "\n", scenario, NAMES[what], hashes[what]);
}

// FNV-1a on words, with the upper bits brought back down.
static void add_word(output to, std::uint64_t word)
{
    std::uint64_t &hash = hashes[to];
    if (hash == 0)
        hash = 0xCBF29CE484222325u;
    hash = (hash ^ word) * 0x100000001B3u;
    hash ^= hash >> 32;
}

void add_one(output to, double value)
{
    if (print_values)
        std::printf("%s %a\n", NAMES[to], std::isnan(value) ? std::fabs(value) : value);
    add_word(to, std::isnan(value) ? 0x7FF8000000000000u : std::bit_cast<std::uint64_t>(value));
}

void add_one(output to, std::int64_t value)
{
    if (print_values && to != LOG)
        std::printf("%s %" PRIx64 "\n", NAMES[to], static_cast<std::uint64_t>(value));
    add_word(to, static_cast<std::uint64_t>(value));
}

void add_bytes(output to, const void *bytes, std::size_t size)
{
    add_one(to, static_cast<std::int64_t>(size));
    for (std::size_t done = 0; done < size; done += sizeof(std::int64_t))
    {
        std::int64_t word = 0;
        std::memcpy(&word, static_cast<const char *>(bytes) + done, std::min(size - done, sizeof word));
        add_one(to, word);
    }
}

void add_angle(output to, double value)
{
    std::printf("angle %s %.17g\n", NAMES[to], std::isnan(value) ? std::fabs(value) : value);
    add_one(to, value);
}

template <typename T>
static T take(const char **at)
{
    T value;
    std::memcpy(&value, *at, sizeof value);
    *at += sizeof value;
    return value;
}

void add_status(output to, const qvstorage_bak &record)
{
    static constexpr int RUNS[] = {24, 3, 4, 5, 9 + 17}; // of doubles and of integers by turns
    static_assert(sizeof record == (24 + 4 + 9 + 17 + 1) * sizeof(double) + (3 + 5) * sizeof(int32_t));

    const char *at = reinterpret_cast<const char *>(&record);
    bool doubles = true;
    for (const int run : RUNS)
    {
        for (int i = 0; i < run; ++i)
            doubles ? add_one(to, take<double>(&at)) : add_one(to, take<int32_t>(&at));
        doubles = !doubles;
    }
}

void add_record(output to, const qvstorage_bak &record)
{
    add_status(to, record);
    add_angle(INCLINATION, record.fusion.inclination);
}

// "[operation           -0123]  text" without the number, which is the source's, and without the sign of what is not a
// number, which is the processor's.
static void add_line(char *text)
{
    char *number = std::strchr(text, '-'), *end = std::strchr(text, ']');
    if (number != nullptr && number < end)
        std::memmove(number, end, std::strlen(end) + 1);
    while (char *sign = std::strstr(text, "-nan"))
        std::memmove(sign, sign + 1, std::strlen(sign));
    if (print_values)
        std::printf("%s %s", NAMES[LOG], text);
    add_bytes(LOG, text, std::strlen(text));
}

// In the place of the platform's log.
extern "C" __attribute__((format(printf, 3, 4))) int __android_log_print(int, const char *, const char *format, ...)
{
    if (!log_is_seen)
        return 0;
    char line[1024];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    add_line(line);
    return length;
}
