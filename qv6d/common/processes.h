// Work in processes of its own: the library keeps one state for a process, so each replay gets a fresh one.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace qv6d
{

struct process_work
{
    std::function<std::string(std::size_t)> run;                // in a process for it alone; its result comes back
    std::function<std::string(std::size_t)> name;               // for the message when that process dies
    std::function<void(std::size_t, const std::string &)> take; // in this process, in the order of completion
};

// Runs 0 to count - 1, at most `slots` at a time, or as many as the system allows. Throws the qv6d::error that a
// process ended with, one that says that it died, or EXIT_INTERRUPTED; no process is left over. Each is asked to end
// first; what one that does not hear that has written is the caller's to remove.
void run_in_processes(std::size_t count, std::size_t slots, const process_work &work);

} // namespace qv6d
