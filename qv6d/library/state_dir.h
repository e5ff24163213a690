// The directory that holds what a device would keep: customer file and record files.
#pragma once

#include "common/descriptor.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace qv6d
{

// The library works in a folder that only this user can enter, on copies: it opens its files by name and would follow
// any link that somebody else has put there.
class state_dir
{
public:
    // Copies the files of the directory, which is created if need be; none without a name. Throws qv6d::error when
    // one of them is not a regular file.
    explicit state_dir(const std::string &name);
    ~state_dir(); // removes the copies

    state_dir(const state_dir &) = delete;
    state_dir &operator=(const state_dir &) = delete;

    // Puts a customer file among them. Throws qv6d::error when it cannot be read.
    void install_config(const std::string &file) const;

    // The files go into the directory, in place of those there. Throws qv6d::error when one cannot be written; none is
    // then half written.
    void keep();

    // Where the copies are.
    const std::filesystem::path &path() const
    {
        return path_;
    }

private:
    void open_directory();
    void take_in(const char *file) const;
    void remove() const;
    std::string shown(const char *file) const;

    std::string name_;
    std::filesystem::path path_;
    descriptor directory_;
    std::vector<std::filesystem::path> created_; // and to be removed unless something is kept there, in that order
};

// The files of a state directory, for a comparison with other names that are read and written. None without a name.
std::vector<std::string> record_files_in(const std::string &state);

// A folder with the text of a customer file, for a library that works there; the caller removes it.
void make_state_dir(const std::filesystem::path &folder, std::string_view text);

} // namespace qv6d
