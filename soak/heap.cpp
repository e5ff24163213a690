// Stands in front of the C library's allocator. The calls of shared objects end here too, such as those of fopen: the
// program's definitions are found before those of any library, and operator new calls malloc.

#include "heap.h"

#include <cerrno>
#include <fstream>
#include <malloc.h>
#include <unistd.h>

extern "C"
{
    void *__libc_malloc(std::size_t size);
    void *__libc_calloc(std::size_t count, std::size_t size);
    void *__libc_realloc(void *block, std::size_t size);
    void *__libc_memalign(std::size_t alignment, std::size_t size);
    void __libc_free(void *block);
}

namespace
{

std::int64_t in_use = 0;
soak::allocations *counting = nullptr;

void *taken(void *block)
{
    const auto bytes = static_cast<std::int64_t>(malloc_usable_size(block));
    in_use += bytes;
    if (counting != nullptr && block != nullptr)
    {
        ++counting->calls;
        counting->bytes += bytes;
    }
    return block;
}

void given_back(void *block)
{
    const auto bytes = static_cast<std::int64_t>(malloc_usable_size(block));
    in_use -= bytes;
    if (counting != nullptr)
        counting->bytes -= bytes;
}

} // namespace

extern "C" void *malloc(std::size_t size)
{
    return taken(__libc_malloc(size));
}

extern "C" void *calloc(std::size_t count, std::size_t size)
{
    return taken(__libc_calloc(count, size));
}

extern "C" void *realloc(void *block, std::size_t size)
{
    given_back(block);
    void *const moved = __libc_realloc(block, size);
    if (moved == nullptr && size != 0)
        taken(block);
    return taken(moved);
}

extern "C" void *memalign(std::size_t alignment, std::size_t size)
{
    return taken(__libc_memalign(alignment, size));
}

extern "C" void *aligned_alloc(std::size_t alignment, std::size_t size)
{
    return memalign(alignment, size);
}

extern "C" int posix_memalign(void **block, std::size_t alignment, std::size_t size)
{
    *block = memalign(alignment, size);
    return *block != nullptr ? 0 : ENOMEM;
}

extern "C" void free(void *block)
{
    given_back(block);
    __libc_free(block);
}

namespace soak
{

counted::counted(allocations *to)
{
    counting = to;
}

counted::~counted()
{
    counting = nullptr;
}

std::int64_t heap_in_use()
{
    return in_use;
}

std::int64_t resident_memory()
{
    std::int64_t total = 0, pages = 0;
    std::ifstream("/proc/self/statm") >> total >> pages;
    return pages * sysconf(_SC_PAGESIZE);
}

} // namespace soak
