// Recordings: sensor events in time order, from any format that is known.
#pragma once

#include "recordings/container.h"
#include "recordings/event.h"
#include "recordings/event_source.h"
#include "recordings/own_format.h"
#include "recordings/reading_options.h"

#include <cstdint>
#include <memory>
#include <string>

namespace qv6d
{

// Events of a recording. Memory does not grow with it.
class recording
{
public:
    // A file, plain or packed with gzip; a folder or a zip file with a file for each sensor; "-" for standard input.
    // Everything is open after this. Throws qv6d::error at what is no recording.
    explicit recording(const std::string &path, const reading_options &options = {});

    // Files that are open already, and one file under its name.
    recording(const container &files, const std::string &path, const reading_options &options);
    recording(std::unique_ptr<line_reader> lines, const std::string &file, const reading_options &options);

    // False at the end. Throws qv6d::error at what is no event, before anything of that line is handed out.
    bool next(event *e)
    {
        return events_->next(e);
    }

    const recording_origin &origin() const
    {
        return origin_;
    }

    const event_source &source() const
    {
        return *events_;
    }

private:
    void open_file(const std::string &path, const reading &said);
    void open_container(const container &files, const std::string &path, const reading &said);
    void open_lines(std::unique_ptr<line_reader> lines, const std::string &file, const reading &said);

    recording_origin origin_;
    std::unique_ptr<event_source> events_;
};

// Whether the path names a recording rather than another file, by its first lines. Throws when it cannot be read.
bool is_recording(const std::string &path, const reading_options &options);

// Whether a folder holds the files of one recording, rather than recordings.
bool is_recording_folder(const std::string &path);

} // namespace qv6d
