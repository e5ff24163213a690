// What the tests share: comparison by bits, dirty memory, captured log lines, temporary directories, field samples.
#pragma once

#include "library_log.h"
#include "math/qvcrd.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <numbers>
#include <stdlib.h>
#include <string>
#include <vector>

// Bits, so that -0.0 is not 0.0 and every value that is not a number differs from every number.
#define EXPECT_BITS(expected, actual)                                                                                  \
    EXPECT_EQ(std::bit_cast<std::uint64_t>(static_cast<double>(expected)),                                             \
              std::bit_cast<std::uint64_t>(static_cast<double>(actual)))                                               \
        << (expected) << " against " << (actual)

// Memory as a caller may hand it over: nothing may depend on its being zero.
template <typename T>
T dirty()
{
    T value;
    std::memset(static_cast<void *>(&value), 0xAA, sizeof value);
    return value;
}

template <typename T>
std::string bytes_of(const T &value)
{
    return std::string(reinterpret_cast<const char *>(&value), sizeof value);
}

// The library's lines while the object lives, as "operation: text".
class captured_log
{
public:
    captured_log()
    {
        qv6d::set_log_sink(
            [this](std::string_view line)
            {
                const std::string_view operation = line.substr(1, line.find_first_of(" -", 1) - 1);
                lines.push_back(std::string(operation) + ": " + std::string(line.substr(line.find("]  ") + 3)));
            });
    }

    ~captured_log()
    {
        qv6d::set_log_sink(nullptr);
    }

    int count(const std::string &text) const
    {
        int n = 0;
        for (const std::string &line : lines)
            n += line.find(text) != std::string::npos;
        return n;
    }

    // What the initialisation said, in its order.
    std::string decisions() const
    {
        std::string all;
        for (const std::string &line : lines)
            if (line.rfind("qvstorage_init: [INFO] ", 0) == 0)
                all += line.substr(23, line.find(']', 23) - 22) + " ";
        return all;
    }

    std::vector<std::string> lines;
};

class temporary_directory
{
public:
    temporary_directory()
    {
        // Short: the library takes paths of 63 characters. In memory where it can be: a rewritten file waits for the
        // disk.
        char in_memory[] = "/dev/shm/qv6d-XXXXXX", on_disk[] = "/tmp/qv6d-XXXXXX";
        const char *made = mkdtemp(in_memory);
        path_ = made != nullptr ? made : mkdtemp(on_disk);
    }

    ~temporary_directory()
    {
        std::filesystem::remove_all(path_);
    }

    std::string operator/(const std::string &name) const
    {
        return path_ + "/" + name;
    }

private:
    std::string path_;
};

inline void write_file(const std::string &path, const std::string &content)
{
    std::ofstream(path, std::ios::binary) << content;
}

inline std::string read_file(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// Point k of a path over the whole sphere, neighbours far apart: every 25 of them span it on all axes.
inline qvcrd_vec3 on_sphere(int k, qvcrd_vec3 centre, double radius)
{
    const double turn = k * 2.399963229728653, z = std::cos(0.37 * k), r = std::sqrt(1.0 - z * z);
    return {centre.x + radius * r * std::cos(turn), centre.y + radius * r * std::sin(turn), centre.z + radius * z};
}
