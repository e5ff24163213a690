#include "common/progress.h"

#include "common/terminal.h"

#include <algorithm>
#include <fmt/format.h>

namespace qv6d
{

namespace
{

constexpr auto INTERVAL = std::chrono::milliseconds(100);
constexpr std::uint64_t WIDTH = 40; // characters of the bar

} // namespace

progress::progress(bool quiet, std::uint64_t total)
    : total_(total), shown_(!quiet && shows_progress()), next_(std::chrono::steady_clock::now() + INTERVAL)
{
}

progress::~progress()
{
    if (shown_)
        show_progress("");
}

void progress::update(std::uint64_t done, std::uint64_t events)
{
    constexpr std::uint64_t events_per_look = 1024; // at the clock
    if (!shown_ || events % events_per_look != 0 || std::chrono::steady_clock::now() < next_)
        return;
    next_ = std::chrono::steady_clock::now() + INTERVAL;
    if (total_ == 0)
    {
        show_progress(fmt::format("{} events", events));
        return;
    }
    const std::uint64_t filled = std::min(WIDTH, done * WIDTH / total_);
    show_progress(fmt::format("[{:#<{}}{:.<{}}] {:3}%  {} events", "", filled, "", WIDTH - filled,
                              std::min<std::uint64_t>(100, done * 100 / total_), events));
}

} // namespace qv6d
