// A file that is being written. Until it is whole it has a name of its own in the folder of its target, which nobody
// can foresee and which was free. What cannot be written is an error that names the target.
#pragma once

#include "common/descriptor.h"

#include <string>
#include <string_view>
#include <sys/stat.h>

namespace qv6d
{

// Throws EXIT_OUTPUT when the folder cannot be opened; `shown` is what was to be written there.
descriptor open_folder_of(const std::string &folder, const std::string &shown);

class new_file
{
public:
    // It gets the mode of the file that has the target's name in `folder`, or the usual one. `folder` outlives this.
    new_file(int folder, const std::string &target, const std::string &shown);
    ~new_file(); // removes what was not moved to its place

    new_file(const new_file &) = delete;
    new_file &operator=(const new_file &) = delete;

    int descriptor_to_write() const
    {
        return file_.get();
    }

    // All of it is on the disk then.
    void close();

    // To the target's name, in place of what has it.
    void move();

private:
    void create(mode_t mode);
    void remove() const;
    void take_mode_of(const struct stat &target);

    int folder_;
    std::string target_, shown_;
    std::string name_; // empty when there is nothing to remove
    descriptor file_;
};

// Throws EXIT_OUTPUT, or EXIT_INTERRUPTED.
void write_all(int file, std::string_view bytes, const std::string &shown);

} // namespace qv6d
