// The recordings of a sweep: files, folders and lists that say what is known of each recording.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace qv6d
{

enum class expectation
{
    any,
    calibrates,
    does_not_calibrate, // a grade 3 is false
};

struct listed_recording
{
    std::string path;
    expectation expected = expectation::any;
    std::optional<std::array<double, 3>> offset = {}; // microtesla, when it is known
};

// What the arguments name: a recording, a folder with its *.csv files in the order of their names, or @LIST. A line of
// a list is a path, from the list's folder on, after words of what is known. Throws qv6d::error that names the line.
std::vector<listed_recording> recordings_of(const std::vector<std::string> &arguments);

} // namespace qv6d
