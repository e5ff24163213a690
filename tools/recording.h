// Recordings: sensor events in time order, as CSV.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace qv6d
{

enum class sensor
{
    acc, // m/s²
    gyr, // rad/s
    mag, // microtesla or counts
};

struct event
{
    std::int64_t t_ns;
    sensor kind;
    float x, y, z;
};

inline constexpr std::string_view EVENT_HEADER = "t_ns,sensor,x,y,z";              // one event per line
inline constexpr std::string_view WIDE_HEADER = "t_ns,ax,ay,az,gx,gy,gz,mx,my,mz"; // all three sensors per line

struct file_closer
{
    void operator()(std::FILE *file) const
    {
        if (file != stdin && file != stdout)
            std::fclose(file);
    }
};
using file_handle = std::unique_ptr<std::FILE, file_closer>;

// Lines of a file through a buffer of fixed size.
class line_reader
{
public:
    // What becomes of a line longer than any of a recording or a log.
    enum class long_lines
    {
        fail,
        cut,
    };

    // `path` "-" reads standard input. Throws qv6d::error when the file cannot be opened.
    explicit line_reader(const std::string &path, long_lines how = long_lines::fail);

    // The next line without its end, valid until the next call; false at the end of the file.
    bool next(std::string_view *line);

    // Throws EXIT_MALFORMED with file and line in front of the message.
    [[noreturn]] void fail(const std::string &message) const;

    std::uint64_t bytes_read() const
    {
        return consumed_;
    }

    // 0 when not known, as for a pipe.
    std::uint64_t size() const
    {
        return size_;
    }

private:
    bool refill();
    void skip_line();

    std::string path_;
    long_lines how_;
    file_handle file_;
    std::vector<char> buffer_;
    std::size_t begin_ = 0, end_ = 0; // of what is read and not yet handed out
    std::uint64_t line_ = 0, consumed_ = 0, size_ = 0;
    bool skipping_ = false;
};

bool is_recording_header(std::string_view line);

// Events of a recording in either form. Memory does not grow with it.
class recording
{
public:
    explicit recording(const std::string &path);

    // False at the end. Throws qv6d::error at a line that is not an event, before anything of it is handed out.
    bool next(event *e);

    const line_reader &lines() const
    {
        return lines_;
    }

private:
    void read_line(std::string_view line);
    void check_order(std::int64_t t_ns);

    line_reader lines_;
    bool wide_ = false;
    bool any_ = false;
    std::int64_t last_t_ns_ = 0;
    event pending_[3] = {}; // of the line read last
    int pending_count_ = 0, pending_next_ = 0;
};

} // namespace qv6d
