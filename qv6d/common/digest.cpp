#include "common/digest.h"

#include "common/file.h"

#include <array>
#include <filesystem>
#include <fmt/format.h>
#include <nettle/sha2.h>

namespace qv6d
{

std::optional<std::string> sha256_of_file(const std::string &path)
{
    std::error_code ignored;
    if (path == "-" || !std::filesystem::is_regular_file(path, ignored))
        return std::nullopt;
    sha256_ctx context;
    sha256_init(&context);
    input_file file(path, "a file");
    std::array<char, 1 << 16> piece;
    for (std::size_t length; (length = file.read(piece.data(), piece.size())) > 0;)
        sha256_update(&context, length, reinterpret_cast<const std::uint8_t *>(piece.data()));
    std::array<std::uint8_t, SHA256_DIGEST_SIZE> digest;
    sha256_digest(&context, digest.size(), digest.data());
    std::string text;
    for (const std::uint8_t byte : digest)
        text += fmt::format("{:02x}", byte);
    return text;
}

} // namespace qv6d
