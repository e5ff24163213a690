// What a shell offers while a command is typed: commands, options, choices and customer keys, from the program itself.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace qv6d
{

// Candidates for the last of the words after the program's name, a line each: the candidate, a tab, what it is. A
// candidate that ends in "=" goes on. The lines FILES_FOLLOW and FOLDERS_FOLLOW tell the shell to offer such names too.
std::string completions(const CLI::App &app, const std::vector<std::string> &words);

inline constexpr const char *FILES_FOLLOW = ":files", *FOLDERS_FOLLOW = ":folders";

// What the values of options are called in the help, which is how they are known here.
inline constexpr const char *FILE_VALUE = "FILE", *FOLDER_VALUE = "FOLDER", *KEY_VALUE = "KEY=VALUES";

// " Did you mean NAME?" for what was typed, out of the names that there are; empty when none is near.
std::string did_you_mean(const std::string &typed, const std::vector<std::string> &names);

std::vector<std::string> command_names(const CLI::App &app);
std::vector<std::string> option_names(const CLI::App &command); // with their dashes

} // namespace qv6d
