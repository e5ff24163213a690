// A build without the libraries that unpack.

#include "common/error.h"
#include "recordings/container.h"

#include <fmt/format.h>

namespace qv6d
{

std::unique_ptr<container> open_zip(const std::string &path)
{
    throw error(EXIT_INPUT,
                fmt::format("{}: this build of qv6d reads no zip files: unpack it, and name the folder", path));
}

std::unique_ptr<container> open_zip(const std::string &name, const void *, std::size_t)
{
    return open_zip(name);
}

std::unique_ptr<byte_source> unpack_gzip(std::unique_ptr<byte_source> packed)
{
    throw error(EXIT_INPUT, fmt::format("{}: this build of qv6d does not unpack gzip: unpack it with gunzip first",
                                        packed->name()));
}

} // namespace qv6d
