// Work in a process of its own: the library's state is one per process, so every replay beside the first needs one.
#pragma once

#include <functional>
#include <string>

namespace qv6d
{

// Runs `work` in a child process and returns the text that it returned. An error thrown there is thrown here.
std::string in_child(const std::function<std::string()> &work);

} // namespace qv6d
