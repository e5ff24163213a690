#include "child.h"

#include "error.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fmt/format.h>
#include <sys/wait.h>
#include <unistd.h>

namespace qv6d
{

namespace
{

// The child's answer: its exit code as the process's, the text or the error's message through the pipe.
[[noreturn]] void answer(int to, const std::function<std::string()> &work)
{
    int code = EXIT_OK;
    std::string text;
    try
    {
        text = work();
    }
    catch (const error &e)
    {
        code = e.code;
        text = e.what();
    }
    catch (const std::exception &e)
    {
        code = EXIT_UNEXPECTED;
        text = e.what();
    }
    for (std::size_t done = 0; done < text.size();)
    {
        const ssize_t written = write(to, text.data() + done, text.size() - done);
        if (written <= 0)
            _exit(EXIT_UNEXPECTED);
        done += static_cast<std::size_t>(written);
    }
    _exit(code);
}

std::string read_all(int from)
{
    std::string text;
    char piece[4096];
    for (ssize_t got; (got = read(from, piece, sizeof piece)) != 0;)
    {
        if (got > 0)
            text.append(piece, static_cast<std::size_t>(got));
        else if (errno != EINTR)
            break;
    }
    return text;
}

} // namespace

std::string in_child(const std::function<std::string()> &work)
{
    int ends[2];
    if (pipe(ends) != 0)
        throw error(EXIT_UNEXPECTED, fmt::format("no pipe to another process: {}", std::strerror(errno)));
    std::fflush(nullptr); // or the child would write what is buffered here once more
    const pid_t child = fork();
    if (child < 0)
        throw error(EXIT_UNEXPECTED, fmt::format("no other process: {}", std::strerror(errno)));
    if (child == 0)
    {
        close(ends[0]);
        answer(ends[1], work);
    }
    close(ends[1]);
    std::string text = read_all(ends[0]);
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (!WIFEXITED(status))
        throw error(EXIT_UNEXPECTED, "a replay in another process was killed");
    if (WEXITSTATUS(status) != EXIT_OK)
        throw error(static_cast<exit_code>(WEXITSTATUS(status)), text);
    return text;
}

} // namespace qv6d
