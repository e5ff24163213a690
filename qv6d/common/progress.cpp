#include "common/progress.h"

#include "common/terminal.h"

#include <algorithm>
#include <fmt/format.h>

namespace qv6d
{

namespace
{

constexpr auto INTERVAL = std::chrono::milliseconds(100);
constexpr std::uint64_t WIDTH = 40;            // characters of the bar
constexpr const char *CLEAR_LINE = "\r\033[K"; // back to the first column, erase to the right

} // namespace

progress::progress(bool quiet, std::uint64_t total)
    : total_(total), shown_(!quiet && shows_progress()), next_(std::chrono::steady_clock::now() + INTERVAL)
{
}

progress::~progress()
{
    if (shown_)
        fmt::print(stderr, "{}", CLEAR_LINE);
}

void progress::update(std::uint64_t done, std::uint64_t events)
{
    constexpr std::uint64_t events_per_look = 1024; // at the clock
    if (!shown_ || events % events_per_look != 0 || std::chrono::steady_clock::now() < next_)
        return;
    next_ = std::chrono::steady_clock::now() + INTERVAL;
    if (total_ == 0)
    {
        fmt::print(stderr, "{}{} events", CLEAR_LINE, events);
        return;
    }
    const std::uint64_t filled = std::min(WIDTH, done * WIDTH / total_);
    fmt::print(stderr, "{}[{:#<{}}{:.<{}}] {:3}%  {} events", CLEAR_LINE, "", filled, "", WIDTH - filled,
               std::min<std::uint64_t>(100, done * 100 / total_), events);
}

} // namespace qv6d
