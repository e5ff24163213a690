// The page of a command, when one is wanted: one self-contained HTML file, made for looking.
#pragma once

#include "common/output.h"
#include "page/page_data.h"

#include <optional>
#include <string>

namespace qv6d
{

// Writes a page of this data.
void write_page(output *out, const nlohmann::ordered_json &data);

// Throws qv6d::error when the page is not part of this build.
void expect_page_template();

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

    void add(const event &e)
    {
        if (wanted())
            data_.add(e);
    }

    // After the last cycle.
    void finish(const findings &found, const page_facts &facts);

private:
    std::string name_;
    std::optional<output> out_;
    page_data data_;
};

} // namespace qv6d
