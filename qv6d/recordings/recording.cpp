#include "recordings/recording.h"

#include "common/error.h"
#include "common/text.h"
#include "recordings/foreign.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>

namespace qv6d
{

namespace
{

// A source of which the first bytes have been looked at.
class begun_source : public byte_source
{
public:
    explicit begun_source(std::unique_ptr<byte_source> rest) : rest_(std::move(rest))
    {
        for (std::size_t got = 1; got > 0 && size_ < sizeof begin_; size_ += got)
            got = rest_->read(begin_ + size_, sizeof begin_ - size_);
    }

    bool begins_with(std::string_view bytes) const
    {
        return std::string_view(begin_, size_).starts_with(bytes);
    }

    std::size_t read(char *to, std::size_t size) override
    {
        const std::size_t count = std::min(size, size_ - taken_);
        if (count == 0)
            return rest_->read(to, size);
        std::copy_n(begin_ + taken_, count, to);
        taken_ += count;
        return count;
    }

    const std::string &name() const override
    {
        return rest_->name();
    }

private:
    std::unique_ptr<byte_source> rest_;
    char begin_[8] = {};
    std::size_t size_ = 0, taken_ = 0;
};

bool is_folder(const std::string &path)
{
    std::error_code ignored;
    return path != "-" && std::filesystem::is_directory(path, ignored);
}

[[noreturn]] void fail_to_recognise(const text_lines &lines, const std::string &first)
{
    lines.fail_at(1, fmt::format("expected the header {} or {}, or a recording of an app that docs/recordings.md lists "
                                 "(--columns says what the columns of another table are), found \"{}\"",
                                 EVENT_HEADER, WIDE_HEADER, printable(std::string_view(first).substr(0, 80))));
}

// The only recording of our own format among the files, or nothing. Throws when there are several.
std::optional<std::size_t> own_recording(const container &files, const std::string &path)
{
    std::optional<std::size_t> found;
    for (std::size_t k = 0; k < files.names().size(); ++k)
    {
        if (!may_be_table(files.names()[k]))
            continue;
        const auto lines = files.open(k);
        std::string_view first;
        if (!lines->next(&first) || !is_recording_header(first))
            continue;
        if (found)
            throw error(EXIT_MALFORMED, fmt::format("{}: holds several recordings: name one of them", path));
        found = k;
    }
    return found;
}

} // namespace

recording::recording(const std::string &path, const reading_options &options)
{
    const reading said(options);
    if (is_folder(path))
        open_container(*open_folder(path), path, said);
    else
        open_file(path, said);
}

recording::recording(const container &files, const std::string &path, const reading_options &options)
{
    open_container(files, path, reading(options));
}

recording::recording(std::unique_ptr<line_reader> lines, const std::string &file, const reading_options &options)
{
    open_lines(std::move(lines), file, reading(options));
}

void recording::open_file(const std::string &path, const reading &said)
{
    auto file = std::make_unique<begun_source>(std::make_unique<input_file>(path, "a recording"));
    if (file->begins_with("PK\3\4") || file->begins_with("PK\5\6"))
    {
        if (path == "-")
            throw error(EXIT_MALFORMED, "standard input: a zip file is read from a file only: give its name");
        return open_container(*open_zip(path), path, said);
    }
    if (file->begins_with("\xD0\xCF\x11\xE0"))
        throw error(EXIT_MALFORMED, fmt::format("{}: is a spreadsheet: let the app export CSV", path));
    const bool packed = file->begins_with("\x1F\x8B");
    std::unique_ptr<byte_source> bytes = std::move(file);
    if (packed)
        bytes = unpack_gzip(std::move(bytes));
    open_lines(std::make_unique<line_reader>(std::move(bytes), packed ? 0 : size_of_file(path)), path, said);
}

void recording::open_container(const container &files, const std::string &path, const reading &said)
{
    if (const auto own = own_recording(files, path))
        return open_lines(files.open(*own), files.names()[*own], said);
    foreign_recording found = read_foreign(files, path, said);
    origin_ = std::move(found.origin);
    events_ = std::move(found.events);
}

void recording::open_lines(std::unique_ptr<line_reader> lines, const std::string &file, const reading &said)
{
    auto text = std::make_unique<text_lines>(std::move(lines));
    const auto &ahead = text->ahead(1);
    if (ahead.empty())
        throw error(EXIT_MALFORMED, fmt::format("{}: is empty, expected the header {}", text->name(), EVENT_HEADER));
    const std::string first = ahead.front();
    if (is_recording_header(first) && said.columns.empty())
    {
        origin_.format = "qv6d";
        origin_.time = said.unit.value_or(time_unit::ns);
        events_ = std::make_unique<own_format>(text->release(), first.find(",sensor,") == std::string::npos, said);
        return;
    }
    auto found = read_foreign(&text, file, said);
    if (!found)
        fail_to_recognise(*text, first);
    origin_ = std::move(found->origin);
    events_ = std::move(found->events);
}

bool is_recording(const std::string &path, const reading_options &options)
{
    if (path == "-" || is_folder(path) || !options.columns.empty())
        return true;
    auto file = std::make_unique<begun_source>(std::make_unique<input_file>(path, "a recording"));
    if (file->begins_with("PK") || file->begins_with("\x1F\x8B"))
        return true;
    auto lines = std::make_unique<line_reader>(std::move(file), 0, line_reader::long_lines::cut);
    auto text = std::make_unique<text_lines>(std::move(lines));
    const auto &ahead = text->ahead(1);
    return !ahead.empty() && (is_recording_header(ahead.front()) || looks_foreign(text.get(), path));
}

bool is_recording_folder(const std::string &path)
{
    if (!is_folder(path))
        return false;
    const auto files = open_folder(path);
    std::size_t own = 0;
    for (std::size_t k = 0; k < files->names().size(); ++k)
    {
        std::string_view first;
        if (may_be_table(files->names()[k]) && files->open(k)->next(&first) && is_recording_header(first))
            ++own;
    }
    return own == 0 && is_one_foreign(*files);
}

} // namespace qv6d
