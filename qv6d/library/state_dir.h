// The directory that holds what a device would keep: customer file and record files.
#pragma once

#include <filesystem>
#include <string>

namespace qv6d
{

class state_dir
{
public:
    // Creates the directory if need be; without a name, a temporary one that goes with the object.
    explicit state_dir(const std::string &name);
    ~state_dir();

    state_dir(const state_dir &) = delete;
    state_dir &operator=(const state_dir &) = delete;

    // Puts a customer file in place. Throws qv6d::error when it cannot be read.
    void install_config(const std::string &file) const;

    const std::filesystem::path &path() const
    {
        return path_;
    }

private:
    std::filesystem::path path_;
    const bool temporary_;
};

} // namespace qv6d
