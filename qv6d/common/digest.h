// What names a file's content, whatever the file is called.
#pragma once

#include <optional>
#include <string>

namespace qv6d
{

// SHA-256 in hexadecimal digits. Nothing for standard input, for what is no regular file, and in a build without it.
std::optional<std::string> sha256_of_file(const std::string &path);

} // namespace qv6d
