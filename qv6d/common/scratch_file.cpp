#include "common/scratch_file.h"

#include "common/error.h"

#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <sys/mman.h>
#include <unistd.h>

namespace qv6d
{

[[noreturn]] static void fail()
{
    throw error(EXIT_OUTPUT, fmt::format("a file in memory cannot be written: {}", std::strerror(errno)));
}

scratch_file::scratch_file() : descriptor_(memfd_create("qv6d", MFD_CLOEXEC))
{
    if (descriptor_ < 0)
        fail();
    path_ = fmt::format("/proc/self/fd/{}", descriptor_);
}

scratch_file::~scratch_file()
{
    close(descriptor_);
}

void scratch_file::write(std::string_view content)
{
    if (ftruncate(descriptor_, 0) != 0 ||
        pwrite(descriptor_, content.data(), content.size(), 0) != static_cast<ssize_t>(content.size()))
        fail();
}

} // namespace qv6d
