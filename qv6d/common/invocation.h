// How this program was called, and when: what a report says so that another person can do the same.
#pragma once

#include <string>

namespace qv6d
{

// At the start of main.
void keep_command_line(int argc, const char *const *argv);

// As a shell takes it, with the program's name alone; empty before it was kept.
const std::string &command_line();

// Now, or the moment that SOURCE_DATE_EPOCH names, in UTC: "2026-11-23 18:05 UTC".
std::string date_of_run();

} // namespace qv6d
