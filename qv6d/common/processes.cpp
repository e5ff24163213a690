#include "common/processes.h"

#include "common/error.h"
#include "common/interrupt.h"
#include "common/terminal.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace qv6d
{

namespace
{

struct process
{
    std::size_t index;
    pid_t id;
    int pipe;
    std::string received; // an exit code as one byte, then result or message
};

void send_to_parent(int file, const std::string &bytes)
{
    for (std::size_t done = 0; done < bytes.size();)
    {
        const ssize_t written = write(file, bytes.data() + done, bytes.size() - done);
        if (written < 0 && errno != EINTR)
            return; // the parent is gone
        done += static_cast<std::size_t>(std::max<ssize_t>(0, written));
    }
}

// Never returns: what the parent has buffered or keeps open is the parent's to write and to remove.
[[noreturn]] void be_process(const process_work &work, std::size_t index, int pipe)
{
    const auto reply = [](int code, const std::string &text) { return static_cast<char>(code) + text; };
    try
    {
        send_to_parent(pipe, reply(EXIT_OK, work.run(index)));
    }
    catch (const error &e)
    {
        send_to_parent(pipe, reply(e.code, e.what()));
    }
    catch (const std::exception &e)
    {
        send_to_parent(pipe, reply(EXIT_UNEXPECTED, e.what()));
    }
    _exit(EXIT_OK);
}

// Of this process, in which the caller may open more.
std::size_t descriptors_to_spare()
{
    constexpr rlim_t own = 64;
    rlimit limit;
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return 1;
    return limit.rlim_cur > own ? static_cast<std::size_t>(limit.rlim_cur - own) : 1;
}

void note_fewer(std::size_t slots)
{
    note(fmt::format("{} {} at a time: the system allows no more", slots, slots == 1 ? "process" : "processes"));
}

int wait_for_end(pid_t id)
{
    int status = 0;
    while (waitpid(id, &status, 0) < 0 && errno == EINTR)
    {
    }
    return status;
}

std::string cause_of_death(int status)
{
    if (WIFSIGNALED(status))
        return fmt::format("signal {}, {}", WTERMSIG(status), strsignal(WTERMSIG(status)));
    return fmt::format("exit code {}", WEXITSTATUS(status));
}

class pool
{
public:
    explicit pool(const process_work &work) : work_(work)
    {
    }

    ~pool()
    {
        for (const process &p : running_)
        {
            close(p.pipe);
            kill(p.id, SIGTERM); // it removes what it has written, and ends those that it has started
        }
        constexpr timespec step = {0, 5'000'000};
        int steps_left = 1000; // 5 s
        for (const process &p : running_)
        {
            pid_t ended = 0;
            while ((ended = waitpid(p.id, nullptr, WNOHANG)) == 0 && steps_left-- > 0)
                nanosleep(&step, nullptr);
            if (ended != 0)
                continue;
            kill(p.id, SIGKILL);
            wait_for_end(p.id);
        }
    }

    pool(const pool &) = delete;
    pool &operator=(const pool &) = delete;

    std::size_t running() const
    {
        return running_.size();
    }

    // False when the system allows no more than are running.
    bool start(std::size_t index)
    {
        int ends[2];
        const bool piped = pipe2(ends, O_CLOEXEC) == 0;
        const pid_t id = piped ? fork() : -1;
        if (id == 0)
        {
            close(ends[0]);
            for (const process &other : running_)
                close(other.pipe);
            running_.clear(); // they are not this one's to end
            be_process(work_, index, ends[1]);
        }
        if (id < 0)
        {
            const int reason = errno;
            if (piped)
                std::ranges::for_each(ends, close);
            if (!running_.empty() && (reason == EAGAIN || reason == EMFILE || reason == ENFILE || reason == ENOMEM))
                return false;
            throw error(EXIT_UNEXPECTED, fmt::format("a process cannot be started: {}", std::strerror(reason)));
        }
        close(ends[1]);
        running_.push_back({index, id, ends[0], ""});
        return true;
    }

    // Waits for news of any process.
    void wait()
    {
        std::vector<pollfd> watched;
        for (const process &p : running_)
            watched.push_back({p.pipe, POLLIN, 0});
        wait_for_input(watched);
        for (std::size_t i = running_.size(); i-- > 0;)
            if (watched[i].revents != 0)
                receive(i);
    }

private:
    void receive(std::size_t i)
    {
        char piece[4096];
        const ssize_t length = read(running_[i].pipe, piece, sizeof piece);
        if (length > 0)
            running_[i].received.append(piece, static_cast<std::size_t>(length));
        else if (length == 0)
            end(i);
        else if (errno != EINTR && errno != EAGAIN)
            throw error(EXIT_UNEXPECTED, fmt::format("the result of {} cannot be read: {}",
                                                     work_.name(running_[i].index), std::strerror(errno)));
    }

    void end(std::size_t i)
    {
        const process p = std::move(running_[i]);
        running_.erase(running_.begin() + static_cast<std::ptrdiff_t>(i));
        close(p.pipe);
        const int status = wait_for_end(p.id);
        if (status != 0 || p.received.empty())
            throw error(EXIT_UNEXPECTED,
                        fmt::format("the process of {} died: {}", work_.name(p.index), cause_of_death(status)));
        if (const auto code = static_cast<unsigned char>(p.received[0]); code != EXIT_OK)
            throw error(static_cast<exit_code>(code), p.received.substr(1));
        work_.take(p.index, p.received.substr(1));
    }

    const process_work &work_;
    std::vector<process> running_;
};

} // namespace

void run_in_processes(std::size_t count, std::size_t slots, const process_work &work)
{
    pool processes(work);
    if (std::min(count, slots) > descriptors_to_spare())
        note_fewer(slots = descriptors_to_spare());
    for (std::size_t next = 0; next < count || processes.running() > 0;)
    {
        while (next < count && processes.running() < slots)
            if (processes.start(next))
                ++next;
            else
                note_fewer(slots = processes.running());
        processes.wait();
    }
}

} // namespace qv6d
