// What the program allocates, counted where it is allocated. One thread.
#pragma once

#include <cstddef>
#include <cstdint>

namespace soak
{

struct allocations
{
    std::uint64_t calls = 0; // that took a block
    std::int64_t bytes = 0;  // taken and not given back
};

// Counts while it lives. Scopes do not nest.
class counted
{
public:
    explicit counted(allocations *to);
    ~counted();

    counted(const counted &) = delete;
    counted &operator=(const counted &) = delete;
};

// Bytes of the blocks that the program has. mallinfo2 would count freed blocks that a cache still holds.
std::int64_t heap_in_use();

// Bytes of physical memory.
std::int64_t resident_memory();

} // namespace soak
