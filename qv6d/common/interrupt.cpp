#include "common/interrupt.h"

#include "common/error.h"

#include <cerrno>
#include <cstring>
#include <fmt/format.h>

namespace qv6d
{

namespace
{

volatile std::sig_atomic_t interrupted = 0, last = 0; // the signals' numbers

// Holds the signals back while this lives, so that none arrives between a look at the flag and the wait.
class signals_blocked
{
public:
    signals_blocked()
    {
        sigset_t all;
        sigemptyset(&all);
        for (const int number : INTERRUPTS)
            sigaddset(&all, number);
        sigprocmask(SIG_BLOCK, &all, &before_);
    }

    ~signals_blocked()
    {
        sigprocmask(SIG_SETMASK, &before_, nullptr);
    }

    signals_blocked(const signals_blocked &) = delete;
    signals_blocked &operator=(const signals_blocked &) = delete;

    const sigset_t *before() const
    {
        return &before_;
    }

private:
    sigset_t before_;
};

} // namespace

interrupt_guard::interrupt_guard()
{
    struct sigaction note = {}; // without SA_RESTART, so that system calls that wait end
    note.sa_handler = [](int number)
    {
        interrupted = number;
        last = number;
    };
    for (std::size_t i = 0; i < INTERRUPTS.size(); ++i)
    {
        sigaction(INTERRUPTS[i], &note, &before_[i]);
        if (INTERRUPTS[i] == SIGHUP && before_[i].sa_handler == SIG_IGN)
            sigaction(SIGHUP, &before_[i], nullptr); // nohup
    }
}

interrupt_guard::~interrupt_guard()
{
    for (std::size_t i = 0; i < INTERRUPTS.size(); ++i)
        sigaction(INTERRUPTS[i], &before_[i], nullptr);
    interrupted = 0;
}

int last_interrupt()
{
    return last;
}

void go_on_after_interrupt()
{
    interrupted = 0;
}

void throw_if_interrupted()
{
    if (interrupted != 0)
        throw error(EXIT_INTERRUPTED, "interrupted");
}

void wait_for_input(std::span<pollfd> files)
{
    {
        const signals_blocked blocked;
        throw_if_interrupted();
        while (ppoll(files.data(), files.size(), nullptr, blocked.before()) < 0)
        {
            throw_if_interrupted();
            if (errno != EINTR)
                throw error(EXIT_UNEXPECTED, fmt::format("waiting failed: {}", std::strerror(errno)));
        }
    }
    throw_if_interrupted(); // by a signal that came together with the input, or with its end
}

} // namespace qv6d
