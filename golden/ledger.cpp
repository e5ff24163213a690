#include "ledger.h"

#include <bit>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

const char *output_name(int what)
{
    static constexpr const char *NAMES[OUTPUTS] = {"input", "calibration", "learnt",      "exported",    "operations",
                                                   "files", "orientation", "inclination", "polar-angle", "log"};
    return NAMES[what];
}

static ledger *listener;

ledger::ledger(findings *found, bool log_wanted, bool verbose) : found_(found), verbose_(verbose)
{
    listener = log_wanted ? this : nullptr;
}

ledger::~ledger()
{
    listener = nullptr;
}

// FNV-1a on words, with the upper bits brought back down.
void ledger::add_word(output to, std::uint64_t word)
{
    std::uint64_t &hash = found_->hash[to];
    if (hash == 0)
        hash = 0xCBF29CE484222325u;
    hash = (hash ^ word) * 0x100000001B3u;
    hash ^= hash >> 32;
}

void ledger::add_bytes(output to, const void *bytes, std::size_t size)
{
    if (verbose_ && to != LOG)
    {
        std::printf("%s", output_name(to));
        for (std::size_t i = 0; i < size; ++i)
            std::printf(" %02x", static_cast<const unsigned char *>(bytes)[i]);
        std::printf("\n");
    }
    add_word(to, size);
    for (std::size_t done = 0; done < size; done += sizeof(std::uint64_t))
    {
        std::uint64_t word = 0;
        const std::size_t left = size - done;
        std::memcpy(&word, static_cast<const char *>(bytes) + done, left < sizeof word ? left : sizeof word);
        add_word(to, word);
    }
}

void ledger::add_one(output to, double value)
{
    if (verbose_)
        std::printf("%s %a\n", output_name(to), std::isnan(value) ? std::fabs(value) : value);
    static constexpr std::uint64_t not_a_number = 0x7FF8000000000000u;
    add_word(to, std::isnan(value) ? not_a_number : std::bit_cast<std::uint64_t>(value));
}

void ledger::add_one(output to, float value)
{
    add_one(to, static_cast<double>(value));
}

void ledger::add_one(output to, std::int64_t value)
{
    if (verbose_)
        std::printf("%s %lld\n", output_name(to), static_cast<long long>(value));
    add_word(to, static_cast<std::uint64_t>(value));
}

void ledger::add_angle(output to, double value)
{
    add_one(to, value);
    if (found_->angles == findings::ANGLES_MAX)
        std::abort();
    found_->angle[found_->angles++] = {to, value};
}

template <typename T>
static T take(const char **at)
{
    T value;
    std::memcpy(&value, *at, sizeof value);
    *at += sizeof value;
    return value;
}

void ledger::add_record(output to, const qvstorage_bak &record)
{
    // Doubles and integers of the record, in runs.
    static constexpr struct
    {
        int doubles, integers;
    } LAYOUT[] = {{24, 3}, {4, 5}, {9 + 17, 0}};
    static_assert(sizeof record == (24 + 4 + 9 + 17 + 1) * sizeof(double) + (3 + 5) * sizeof(int32_t));

    const char *at = reinterpret_cast<const char *>(&record);
    for (const auto &run : LAYOUT)
    {
        for (int i = 0; i < run.doubles; ++i)
            add_one(to, take<double>(&at));
        for (int i = 0; i < run.integers; ++i)
            add_one(to, take<int32_t>(&at));
    }
    add_angle(INCLINATION, take<double>(&at));
}

// "[operation           -0123]  text" without the number, which is the source's, and without the sign of what is not a
// number, which is the processor's.
void ledger::add_line(char *text)
{
    char *number = std::strchr(text, '-'), *end = std::strchr(text, ']');
    if (number != nullptr && number < end)
        std::memmove(number, end, std::strlen(end) + 1);
    while (char *sign = std::strstr(text, "-nan"))
        std::memmove(sign, sign + 1, std::strlen(sign));
    if (verbose_)
        std::printf("%s %s", output_name(LOG), text);
    add_bytes(LOG, text, std::strlen(text));
}

// In the place of the platform's log.
extern "C" __attribute__((format(printf, 3, 4))) int __android_log_print(int, const char *, const char *format, ...)
{
    if (listener == nullptr)
        return 0;
    char line[1024];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    listener->add_line(line);
    return length;
}
