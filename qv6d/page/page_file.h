// The page of a command, when one is wanted: one self-contained HTML file, made for looking.
#pragma once

#include "common/output.h"
#include "page/page_data.h"

#include <optional>
#include <string>

namespace qv6d
{

class page_file
{
public:
    // Without a name nothing is gathered. Throws qv6d::error when the file cannot be written, or when the page is not
    // part of this build.
    explicit page_file(const std::string &name);

    bool wanted() const
    {
        return out_.has_value();
    }

    void add(const cycle &c)
    {
        if (wanted())
            data_.add(c);
    }

    // After the last cycle; `recording` is what was read.
    void finish(const findings &found, const std::string &recording);

private:
    std::string name_;
    std::optional<output> out_;
    page_data data_;
};

} // namespace qv6d
