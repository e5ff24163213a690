#include "files/record_file.h"

#include "common/error.h"
#include "common/file.h"
#include "common/scratch_file.h"
#include "storage/qvfile.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fmt/format.h>
#include <fmt/ranges.h>

namespace qv6d
{

namespace fs = std::filesystem;

namespace
{

constexpr record_type TYPES[] = {record_type::configuration, record_type::data};
constexpr std::size_t VERSION_AT = 1, VERSION_SIZE = sizeof(double);

std::size_t second_version_at(record_type type)
{
    return RECORD_AT + record_size(type);
}

std::size_t tail_mark_at(record_type type)
{
    return second_version_at(type) + VERSION_SIZE;
}

struct contents
{
    std::string bytes; // as many as a record file can have
    std::uint64_t size;
    bool writable;
};

contents read_contents(const std::string &path)
{
    std::error_code ignored;
    const fs::file_status status = fs::status(path == "-" ? "/dev/stdin" : path, ignored);
    constexpr fs::perms write = fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write;
    const bool writable = !fs::is_regular_file(status) || (status.permissions() & write) != fs::perms::none;
    const std::string bytes = read_whole_file(path, "a record file");
    return {bytes.substr(0, record_file_size(record_type::configuration)), bytes.size(), writable};
}

bool library_reads(const std::string &bytes, record_type type)
{
    scratch_file file;
    file.write(bytes);
    qvstorage_cfg cfg;
    qvstorage_bak bak;
    return (type == record_type::configuration ? load_file_cfg(&cfg, file.path().c_str())
                                               : load_file_bak(&bak, file.path().c_str())) == 0;
}

std::optional<double> version_at(const std::string &bytes, std::size_t offset)
{
    double version;
    if (bytes.size() < offset + VERSION_SIZE)
        return std::nullopt;
    std::memcpy(&version, bytes.data() + offset, VERSION_SIZE);
    return version;
}

// Whether the bytes after a data backup's record begin a second version there, rather than continue a configuration.
bool ends_as_data(const std::string &bytes)
{
    const std::size_t at = second_version_at(record_type::data);
    return bytes.compare(at, bytes.size() - at, bytes, VERSION_AT, bytes.size() - at) == 0;
}

// By what the library reads; else by a second version where only one type has it; else by the size.
std::optional<record_type> type_of(const contents &found)
{
    for (const record_type type : TYPES)
        if (library_reads(found.bytes, type))
            return type;
    for (const record_type type : TYPES)
        if (version_at(found.bytes, second_version_at(type)) == QVSTORAGE_VERSION)
            return type;
    for (const record_type type : TYPES)
        if (found.size == record_file_size(type))
            return type;
    if (version_at(found.bytes, VERSION_AT) != QVSTORAGE_VERSION || found.size < second_version_at(record_type::data))
        return std::nullopt;
    return ends_as_data(found.bytes) ? record_type::data : record_type::configuration;
}

std::string why_no_type(const contents &found)
{
    const std::string sizes =
        fmt::format("a configuration backup has {} bytes, a data backup {}",
                    record_file_size(record_type::configuration), record_file_size(record_type::data));
    if (found.size == 0)
        return fmt::format("is empty, as after a write that was interrupted; {}", sizes);
    const bool begins_as_one = found.bytes[0] == QVFILE_HEAD_MARK &&
                               version_at(found.bytes, VERSION_AT).value_or(QVSTORAGE_VERSION) == QVSTORAGE_VERSION;
    if (begins_as_one)
        return fmt::format("is a record file cut at {} bytes, too few to tell of which type: say --type; {}",
                           found.size, sizes);
    if (found.bytes.find('\0') == std::string::npos && found.bytes.find('=') != std::string::npos)
        return "is not a record file; if it is a customer file: qv6d check";
    return fmt::format("is not a record file: {} bytes without its marks; {}; --type shows it as one all the same",
                       found.size, sizes);
}

std::string mark_damage(const char *what, const std::string &bytes, std::size_t at, char expected)
{
    if (bytes.size() <= at || bytes[at] == expected)
        return "";
    return fmt::format("{} at {} is 0x{:02x}, expected 0x{:02x} \"{}\"", what, at,
                       static_cast<unsigned char>(bytes[at]), expected, expected);
}

std::string version_damage(const char *what, const std::string &bytes, std::size_t at)
{
    const std::optional<double> version = version_at(bytes, at);
    if (!version || *version == QVSTORAGE_VERSION)
        return "";
    return fmt::format("{} at {} is {}, expected {}", what, at, *version, QVSTORAGE_VERSION);
}

// What the cut goes through.
std::string cut_damage(const record_file &file)
{
    const std::size_t whole = record_file_size(file.type);
    if (file.size >= whole)
        return "";
    std::string where = file.size > tail_mark_at(file.type) - VERSION_SIZE ? "in the second version" : "";
    if (file.size == tail_mark_at(file.type))
        where = "before the tail mark";
    else if (file.size == second_version_at(file.type))
        where = "before the second version";
    else if (file.size < RECORD_AT)
        where = "in front of the record";
    for (const record_field &field : record_fields(file.type))
        if (where.empty() && !file.has(field))
            where = fmt::format("at {}", field.name);
    return fmt::format("cut at {} of {} bytes, {}", file.size, whole, where);
}

std::string damage_of(const record_file &file, const std::string &bytes)
{
    std::vector<std::string> all = {
        mark_damage("head mark", bytes, 0, QVFILE_HEAD_MARK),
        version_damage("version", bytes, VERSION_AT),
        version_damage("second version", bytes, second_version_at(file.type)),
        mark_damage("tail mark", bytes, tail_mark_at(file.type), QVFILE_TAIL_MARK),
        cut_damage(file),
    };
    std::erase(all, "");
    return fmt::format("{}", fmt::join(all, "; "));
}

std::vector<std::string> notes_of(const record_file &file, const contents &found)
{
    std::vector<std::string> notes;
    const std::size_t whole = record_file_size(file.type);
    if (file.intact && file.size > whole)
        notes.push_back(fmt::format("{} bytes after the tail mark, which the library ignores", file.size - whole));
    if (!found.writable)
        notes.push_back(
            "no write permission: the library opens record files for writing too, and takes this as missing");
    for (const record_type other : TYPES)
        if (!file.intact && other != file.type && library_reads(found.bytes, other))
            notes.push_back(fmt::format("reads as a {}", record_name(other)));
    if (file.intact && file.type == record_type::configuration)
    {
        const qvstorage_cfg cfg = file.configuration();
        if (check_cfg_was_changed(&cfg, &cfg) != 0)
            notes.push_back("holds a value that is not a number: no configuration equals it, so every start discards "
                            "the stored calibration");
    }
    return notes;
}

} // namespace

qvstorage_cfg record_file::configuration() const
{
    qvstorage_cfg cfg = {};
    record.copy(reinterpret_cast<char *>(&cfg), sizeof cfg);
    return cfg;
}

std::size_t record_file_size(record_type type)
{
    return tail_mark_at(type) + 1;
}

record_file read_record_file(const std::string &path, std::optional<record_type> type)
{
    const contents found = read_contents(path);
    if (!type)
        type = type_of(found);
    if (!type)
        throw error(EXIT_MALFORMED, fmt::format("{}: {}", path, why_no_type(found)));

    record_file file = {path, *type, found.size, "", library_reads(found.bytes, *type), "", {}};
    if (found.size > RECORD_AT)
        file.record = found.bytes.substr(RECORD_AT, record_size(*type));
    if (!file.intact)
        file.damage = damage_of(file, found.bytes);
    if (!file.intact && file.damage.empty())
        throw error(EXIT_INPUT, fmt::format("{}: a file in memory cannot be read", path));
    file.notes = notes_of(file, found);
    return file;
}

} // namespace qv6d
