// qv6d replay of several recordings, or of one under several configurations.
#pragma once

#include "commands/replay_document.h"
#include "common/error.h"
#include "library/replay.h"

#include <string>
#include <vector>

namespace qv6d
{

struct replay_list
{
    replay_settings settings;                     // of every run, but for recording and configuration
    std::vector<std::string> recordings, configs; // every recording under every configuration
    std::string report; // one page (.html) of all runs laid over each other, or a folder with a page of each
    bool json = false;
    replay_expectation expected;
};

// Prints a line per run, with `json` a document. A run that fails has its line and its row too; returns the code of the
// first one.
exit_code replay_many(const replay_list &list);

} // namespace qv6d
