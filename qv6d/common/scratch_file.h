// A file that lives in memory only, with a path by which the library's own readers open it.
#pragma once

#include <string>
#include <string_view>

namespace qv6d
{

class scratch_file
{
public:
    // Throws qv6d::error when the system gives none.
    scratch_file();
    ~scratch_file();

    scratch_file(const scratch_file &) = delete;
    scratch_file &operator=(const scratch_file &) = delete;

    // Replaces the whole content.
    void write(std::string_view content);

    const std::string &path() const
    {
        return path_;
    }

private:
    int descriptor_;
    std::string path_;
};

} // namespace qv6d
