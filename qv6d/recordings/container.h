// Inputs of one or more files: a folder, a zip file, one file. No file of an archive is ever written to disk.
#pragma once

#include "common/file.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace qv6d
{

class container
{
public:
    virtual ~container() = default;

    // Files, with the folders within the input in front.
    virtual const std::vector<std::string> &names() const = 0;

    // Several may be open at a time. Throws qv6d::error.
    virtual std::unique_ptr<line_reader> open(std::size_t index) const = 0;
};

// Throws qv6d::error when the folder cannot be read.
std::unique_ptr<container> open_folder(const std::string &path);

// Throws qv6d::error when it is no zip file, or this build reads none. It may be named with a relative path and read
// from another working directory.
std::unique_ptr<container> open_zip(const std::string &path);

// A zip file in memory, which has to outlive the container.
std::unique_ptr<container> open_zip(const std::string &name, const void *bytes, std::size_t size);

// The unpacked bytes of gzip. Throws qv6d::error when this build cannot unpack, later when the bytes are damaged.
std::unique_ptr<byte_source> unpack_gzip(std::unique_ptr<byte_source> packed);

} // namespace qv6d
