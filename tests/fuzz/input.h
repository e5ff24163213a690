// Values out of the fuzzer's bytes: cheap to reach for a mutation, none excluded.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
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

    std::string text(std::size_t size)
    {
        const std::uint8_t *from = at_;
        at_ += std::min(size, static_cast<std::size_t>(end_ - at_));
        return {from, at_};
    }

    // The value's own bytes, zeros behind the end.
    template <typename T>
    T raw()
    {
        const std::string bytes = text(sizeof(T));
        T value{};
        std::memcpy(&value, bytes.data(), bytes.size());
        return value;
    }

    std::uint8_t byte()
    {
        return raw<std::uint8_t>();
    }

    // Mostly a value of the size that sensors give; sometimes a limit of the type, sometimes any pattern of bits.
    template <typename T>
    T real()
    {
        using is = std::numeric_limits<T>;
        static constexpr T edges[] = {
            0,         T(-0.0),      T(1e9),    T(-1e18),         is::quiet_NaN(), is::infinity(), -is::infinity(),
            is::max(), is::lowest(), is::min(), is::denorm_min(), is::epsilon()};
        const std::uint8_t kind = byte();
        if (kind < 16)
            return raw<T>();
        return kind < 32 ? edges[kind % std::size(edges)] : static_cast<T>(raw<std::int16_t>()) / T(64);
    }

    std::int32_t integer()
    {
        static constexpr std::int32_t edges[] = {INT32_MIN, INT32_MAX, -1, 0};
        const std::uint8_t kind = byte();
        return kind < 16 ? raw<std::int32_t>() : kind < 32 ? edges[kind % std::size(edges)] : byte();
    }

private:
    const std::uint8_t *at_, *end_;
};
