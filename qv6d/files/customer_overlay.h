// A customer file with some keys set over it.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace qv6d
{

class customer_overlay
{
public:
    // The text of `base` to lay keys over, none without a name. Throws qv6d::error when the file cannot be read or the
    // library stops within it.
    explicit customer_overlay(const std::string &base);

    // What the library would not take from the base.
    const std::vector<std::string> &complaints() const
    {
        return complaints_;
    }

    // The base's lines that set one of the keys get the new value, the other keys follow at the end.
    std::string with(const std::vector<std::pair<std::string, double>> &values) const;

private:
    std::vector<std::string> lines_;
    std::vector<std::string> complaints_;
};

} // namespace qv6d
