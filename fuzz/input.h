// Values out of the fuzzer's bytes: cheap to reach for a mutation, none excluded.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>

class input
{
public:
    input(const std::uint8_t *bytes, std::size_t size) : at_(bytes), end_(bytes + size)
    {
    }

    bool empty() const
    {
        return at_ == end_;
    }

    // The value's own bytes, zeros behind the end.
    template <typename T>
    T raw()
    {
        T value{};
        const std::size_t n = std::min(sizeof value, left());
        std::memcpy(static_cast<void *>(&value), at_, n);
        at_ += n;
        return value;
    }

    std::uint8_t byte()
    {
        return raw<std::uint8_t>();
    }

    std::string text(std::size_t size)
    {
        const std::size_t n = std::min(size, left());
        std::string taken(reinterpret_cast<const char *>(at_), n);
        at_ += n;
        return taken;
    }

    std::string rest()
    {
        return text(left());
    }

    // Mostly a value of the size that sensors give; sometimes a limit of the type, sometimes any pattern of bits.
    template <typename T>
    T real()
    {
        using limits = std::numeric_limits<T>;
        static constexpr std::array<T, 12> edges = {0,
                                                    T(-0.0),
                                                    limits::quiet_NaN(),
                                                    limits::infinity(),
                                                    -limits::infinity(),
                                                    limits::max(),
                                                    limits::lowest(),
                                                    limits::min(),
                                                    limits::denorm_min(),
                                                    limits::epsilon(),
                                                    T(1e9),
                                                    T(-1e18)};
        const std::uint8_t kind = byte();
        if (kind < 16)
            return raw<T>();
        if (kind < 32)
            return edges[kind % edges.size()];
        return static_cast<T>(raw<std::int16_t>()) / T(64);
    }

    std::int32_t integer()
    {
        static constexpr std::array<std::int32_t, 4> edges = {INT32_MIN, INT32_MAX, -1, 0};
        const std::uint8_t kind = byte();
        return kind < 16 ? raw<std::int32_t>() : kind < 32 ? edges[kind % edges.size()] : byte();
    }

private:
    std::size_t left() const
    {
        return static_cast<std::size_t>(end_ - at_);
    }

    const std::uint8_t *at_;
    const std::uint8_t *end_;
};
