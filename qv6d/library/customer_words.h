// What the library says of a customer file, in words of a person.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qv6d
{

// Throws EXIT_MALFORMED when no line of the text can be meant as key = value, as in a recording. `name` is the file's.
void expect_customer_file(const std::string &name, std::string_view text);

// Lines for a person about the file `name`: the library's own words in quotes, then what they mean. The first few stand
// for the rest.
std::vector<std::string> plain_words(const std::string &name, const std::vector<std::string> &complaints);

} // namespace qv6d
