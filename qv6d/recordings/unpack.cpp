// zip by libzip, gzip by zlib. Both unpack while they are read: memory does not grow with what is in them.

#include "common/error.h"
#include "common/text.h"
#include "recordings/container.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <fmt/format.h>
#include <zip.h>
#include <zlib.h>

namespace qv6d
{

namespace
{

constexpr std::int64_t MEMBERS_MAX = 2000;
constexpr std::uint64_t UNPACKED_MAX = std::uint64_t{8} << 30; // bytes: a week of three sensors

void count_unpacked(std::uint64_t *total, std::size_t more, const std::string &name)
{
    *total += more;
    if (*total > UNPACKED_MAX)
        throw error(EXIT_MALFORMED, fmt::format("{}: unpacks to more than {} GiB, more than any recording has", name,
                                                UNPACKED_MAX >> 30));
}

struct archive_closer
{
    void operator()(zip_t *archive) const
    {
        zip_discard(archive);
    }
};
using archive_handle = std::shared_ptr<zip_t>;

struct member_closer
{
    void operator()(zip_file_t *member) const
    {
        zip_fclose(member);
    }
};

class zip_member : public byte_source
{
public:
    zip_member(archive_handle archive, std::uint64_t index, std::string name)
        : archive_(std::move(archive)), name_(std::move(name)), file_(zip_fopen_index(archive_.get(), index, 0))
    {
        if (file_ != nullptr)
            return;
        zip_error_t *why = zip_get_error(archive_.get());
        if (zip_error_code_zip(why) == ZIP_ER_NOPASSWD)
            throw error(EXIT_MALFORMED, fmt::format("{}: needs a password: unpack it first", name_));
        throw error(EXIT_MALFORMED, fmt::format("{}: cannot be unpacked: {}", name_, zip_error_strerror(why)));
    }

    std::size_t read(char *to, std::size_t size) override
    {
        const zip_int64_t got = zip_fread(file_.get(), to, size);
        if (got < 0)
            throw error(EXIT_MALFORMED, fmt::format("{}: cannot be unpacked: {}", name_,
                                                    zip_error_strerror(zip_file_get_error(file_.get()))));
        count_unpacked(&total_, static_cast<std::size_t>(got), name_);
        return static_cast<std::size_t>(got);
    }

    const std::string &name() const override
    {
        return name_;
    }

private:
    archive_handle archive_;
    std::string name_;
    std::unique_ptr<zip_file_t, member_closer> file_;
    std::uint64_t total_ = 0;
};

class zip_container : public container
{
public:
    zip_container(archive_handle archive, std::string path) : archive_(std::move(archive)), path_(std::move(path))
    {
        const zip_int64_t count = zip_get_num_entries(archive_.get(), 0);
        if (count > MEMBERS_MAX)
            throw error(EXIT_MALFORMED,
                        fmt::format("{}: holds {} files, expected those of one recording", path_, count));
        for (std::uint64_t k = 0; k < static_cast<std::uint64_t>(std::max<zip_int64_t>(count, 0)); ++k)
        {
            const char *name = zip_get_name(archive_.get(), k, ZIP_FL_ENC_RAW);
            names_.emplace_back(name == nullptr ? "" : name);
        }
    }

    const std::vector<std::string> &names() const override
    {
        return names_;
    }

    std::unique_ptr<line_reader> open(std::size_t index) const override
    {
        zip_stat_t status;
        zip_stat_init(&status);
        const bool sized =
            zip_stat_index(archive_.get(), index, 0, &status) == 0 && (status.valid & ZIP_STAT_SIZE) != 0;
        return std::make_unique<line_reader>(
            std::make_unique<zip_member>(archive_, index, fmt::format("{}/{}", path_, printable(names_[index]))),
            sized ? status.size : 0);
    }

private:
    archive_handle archive_;
    std::string path_;
    std::vector<std::string> names_;
};

[[noreturn]] void fail_to_open(const std::string &path, zip_error_t *why)
{
    const std::string text = zip_error_strerror(why);
    zip_error_fini(why);
    throw error(EXIT_MALFORMED, fmt::format("{}: is no readable zip file: {}; was it copied whole?", path, text));
}

class gzip_source : public byte_source
{
public:
    explicit gzip_source(std::unique_ptr<byte_source> packed) : packed_(std::move(packed))
    {
        if (inflateInit2(&stream_, MAX_WBITS + 16) != Z_OK)
            throw error(EXIT_UNEXPECTED, "zlib cannot be started");
    }

    ~gzip_source() override
    {
        inflateEnd(&stream_);
    }

    gzip_source(const gzip_source &) = delete;
    gzip_source &operator=(const gzip_source &) = delete;

    std::size_t read(char *to, std::size_t size) override
    {
        stream_.next_out = reinterpret_cast<Bytef *>(to);
        stream_.avail_out = static_cast<uInt>(std::min<std::size_t>(size, 1u << 30));
        const uInt wanted = stream_.avail_out;
        while (stream_.avail_out == wanted && fill())
            inflate_some();
        const std::size_t got = wanted - stream_.avail_out;
        count_unpacked(&total_, got, name());
        return got;
    }

    const std::string &name() const override
    {
        return packed_->name();
    }

private:
    // False at the end of what is packed.
    bool fill()
    {
        if (stream_.avail_in > 0)
            return true;
        stream_.next_in = reinterpret_cast<Bytef *>(buffer_.data());
        stream_.avail_in = static_cast<uInt>(packed_->read(buffer_.data(), buffer_.size()));
        if (stream_.avail_in == 0 && !ended_)
            throw error(EXIT_MALFORMED, fmt::format("{}: ends in the middle of its gzip data", name()));
        return stream_.avail_in > 0;
    }

    void inflate_some()
    {
        if (ended_) // a gzip file may have several parts
            inflateReset(&stream_);
        const int result = inflate(&stream_, Z_NO_FLUSH);
        if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR)
            throw error(EXIT_MALFORMED, fmt::format("{}: its gzip data is damaged: {}", name(),
                                                    stream_.msg == nullptr ? "no reason given" : stream_.msg));
        ended_ = result == Z_STREAM_END;
    }

    std::unique_ptr<byte_source> packed_;
    z_stream stream_ = {};
    std::array<char, 1 << 16> buffer_;
    bool ended_ = false;
    std::uint64_t total_ = 0;
};

} // namespace

std::unique_ptr<container> open_zip(const std::string &path)
{
    int code = 0;
    zip_t *archive = zip_open(path.c_str(), ZIP_RDONLY, &code);
    if (archive == nullptr)
    {
        zip_error_t why;
        zip_error_init_with_code(&why, code);
        fail_to_open(path, &why);
    }
    return std::make_unique<zip_container>(archive_handle(archive, archive_closer()), path);
}

std::unique_ptr<container> open_zip(const std::string &name, const void *bytes, std::size_t size)
{
    zip_error_t why;
    zip_error_init(&why);
    zip_source_t *source = zip_source_buffer_create(bytes, size, 0, &why);
    zip_t *archive = source == nullptr ? nullptr : zip_open_from_source(source, ZIP_RDONLY, &why);
    if (archive == nullptr)
    {
        zip_source_free(source);
        fail_to_open(name, &why);
    }
    return std::make_unique<zip_container>(archive_handle(archive, archive_closer()), name);
}

std::unique_ptr<byte_source> unpack_gzip(std::unique_ptr<byte_source> packed)
{
    return std::make_unique<gzip_source>(std::move(packed));
}

} // namespace qv6d
