// The page without its data.
#pragma once

#include <string_view>

namespace qv6d
{

// Stands where the data goes.
inline constexpr std::string_view PAGE_DATA_TOKEN = "__QV6D_PAGE_DATA__";

// Empty in a build without it.
std::string_view page_template();

} // namespace qv6d
