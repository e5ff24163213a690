// SIGINT, SIGTERM, SIGHUP and SIGQUIT end a command in order: it throws from where it works or waits, and the
// destructors remove temporary folders and unfinished files.
#pragma once

#include <array>
#include <csignal>
#include <poll.h>
#include <span>

namespace qv6d
{

inline constexpr std::array<int, 4> INTERRUPTS = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

// The signals are noted while this lives. Child processes inherit that. The destructor restores what was there before.
class interrupt_guard
{
public:
    interrupt_guard();
    ~interrupt_guard();

    interrupt_guard(const interrupt_guard &) = delete;
    interrupt_guard &operator=(const interrupt_guard &) = delete;

private:
    std::array<struct sigaction, INTERRUPTS.size()> before_ = {};
};

// The signal that came last; 0 before the first.
int last_interrupt();

// After EXIT_INTERRUPTED was thrown: what is done so far can be written. The next signal interrupts that, too.
void go_on_after_interrupt();

// Throws EXIT_INTERRUPTED after a signal. To be called in every long loop, and after a system call that failed.
void throw_if_interrupted();

// Waits until one of the files can be read. Throws EXIT_INTERRUPTED when a signal arrives before that.
void wait_for_input(std::span<pollfd> files);

} // namespace qv6d
