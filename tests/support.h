// What the tests share: comparison by bits, dirty memory, captured log lines, temporary directories, samples.
#pragma once

#include "library/library_log.h"
#include "math/qvcrd.h"
#include "qv6dalgo.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <stdlib.h>
#include <string>
#include <vector>

inline testing::AssertionResult agree(bool same, qvcrd_vec3 a, qvcrd_vec3 b)
{
    return (same ? testing::AssertionSuccess() : testing::AssertionFailure())
           << a.x << " " << a.y << " " << a.z << " against " << b.x << " " << b.y << " " << b.z;
}

// Bits, so that -0.0 is not 0.0 and every value that is not a number differs from every number.
#define EXPECT_BITS(...) EXPECT_TRUE(same_bits(__VA_ARGS__))

inline testing::AssertionResult same_bits(qvcrd_vec3 expected, qvcrd_vec3 actual)
{
    return agree(std::memcmp(&expected, &actual, sizeof expected) == 0, expected, actual);
}

inline testing::AssertionResult same_bits(double expected, double actual)
{
    return same_bits({expected, 0.0, 0.0}, {actual, 0.0, 0.0});
}

// False where anything is not a number.
inline testing::AssertionResult near(qvcrd_vec3 expected, qvcrd_vec3 actual, double limit)
{
    const auto within = [=](double a, double b) { return std::fabs(a - b) <= limit; };
    return agree(within(expected.x, actual.x) && within(expected.y, actual.y) && within(expected.z, actual.z), expected,
                 actual);
}

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
        qv6d::set_log_sink([this](const qv6d::log_entry &line)
                           { lines.push_back(std::string(line.operation()) + ": " + std::string(line.said())); });
    }

    ~captured_log()
    {
        qv6d::set_log_sink(nullptr);
    }

    std::vector<std::string> with(const std::string &text) const
    {
        std::vector<std::string> some;
        std::copy_if(lines.begin(), lines.end(), std::back_inserter(some),
                     [&](const std::string &line) { return line.find(text) != std::string::npos; });
        return some;
    }

    int count(const std::string &text) const
    {
        return static_cast<int>(with(text).size());
    }

    // What the initialisation said, in its order.
    std::string decisions() const
    {
        std::string all;
        for (const std::string &line : with("qvstorage_init: [INFO] "))
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

inline qvs_sample sample(int64_t t, qvcrd_vec3 v)
{
    return {t, static_cast<float>(v.x), static_cast<float>(v.y), static_cast<float>(v.z), 0};
}

// What a service does with a pair of samples; the field is in counts.
inline qvs_calibration serve(int64_t t, qvcrd_vec3 field, qvcrd_vec3 acceleration = {0, 0, 9.81})
{
    const qvs_sample magnetometer = sample(t, field), accelerometer = sample(t, acceleration);
    qvs_calibration result = dirty<qvs_calibration>();
    EXPECT_EQ(0, MAG_LIB_API_INTERFACE.doCaliApi(&magnetometer, &result));
    EXPECT_EQ(0, MAG_LIB_API_INTERFACE.caliApiSetAccData(&accelerometer));
    EXPECT_EQ(0, MAG_LIB_API_INTERFACE.caliApiSetMagData(&magnetometer));
    return result;
}
