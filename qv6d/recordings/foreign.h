// Recordings of other programs, recognised by their content and by the names of their files.
#pragma once

#include "recordings/container.h"
#include "recordings/event_source.h"
#include "recordings/reading_options.h"
#include "recordings/sample_stream.h"

#include <memory>
#include <optional>
#include <string>

namespace qv6d
{

struct foreign_recording
{
    recording_origin origin;
    std::unique_ptr<event_source> events;
};

// One file under this name, which may say what is in it. Nothing when it is no recording. Throws qv6d::error when it is
// one and cannot be read as it is.
// The lines are taken when they are one.
std::optional<foreign_recording> read_foreign(std::unique_ptr<text_lines> *lines, const std::string &file,
                                              const reading &said);

// The files of a folder or a zip file. Throws qv6d::error when no recording is among them.
foreign_recording read_foreign(const container &files, const std::string &path, const reading &said);

// Whether it would be read as one, by its first lines; also when something has to be said by a person.
bool looks_foreign(text_lines *lines, const std::string &file);

// Whether the files are those of one recording: not of none, not of several.
bool is_one_foreign(const container &files);

// Whether a file of several could be one of a recording: by its name, without the folders.
bool may_be_table(const std::string &name);

std::string without_folders(const std::string &name);

} // namespace qv6d
