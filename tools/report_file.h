// The report of a command, when one is wanted.
#pragma once

#include "output.h"
#include "report.h"

#include <optional>
#include <string>

namespace qv6d
{

class report_file
{
public:
    // Without a name nothing is gathered. Throws qv6d::error when the file cannot be written, or when the page is not
    // part of this build.
    explicit report_file(const std::string &name);

    bool wanted() const
    {
        return out_.has_value();
    }

    void add(const cycle &c)
    {
        if (wanted())
            page_.add(c);
    }

    void finish(const cycle_source &source, const replay_settings &settings);

private:
    std::string name_;
    std::optional<output> out_;
    report page_;
};

} // namespace qv6d
