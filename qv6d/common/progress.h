// A progress bar on standard error, when that is a terminal.
#pragma once

#include <chrono>
#include <cstdint>

namespace qv6d
{

class progress
{
public:
    // `total` bytes, 0 when not known.
    progress(bool quiet, std::uint64_t total);
    ~progress(); // leaves a clean line

    void update(std::uint64_t done, std::uint64_t events);

private:
    const std::uint64_t total_;
    const bool shown_;
    std::chrono::steady_clock::time_point next_;
};

} // namespace qv6d
