// Days of simulated use: feeds the library as a sensor service does, through restarts, and watches what becomes of
// memory, results and grades. docs/soak.md says what is asserted and why.

#include "progress.h"
#include "report.h"
#include "sensor_service.h"
#include "state_dir.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>

namespace soak
{

namespace
{

namespace fs = std::filesystem;

// KiB. The kernel counts pages in batches, and a library that is loaded anew lies on other pages.
constexpr double RESIDENT_MAX = 512.0;

constexpr const char *LOG = "library.log";

struct options
{
    fs::path library;
    double hours = 24.0;
    std::uint64_t seed = 1;
    bool json = false;
};

// What must not have grown by the end.
struct footprint
{
    std::int64_t heap = heap_in_use();         // bytes
    std::int64_t resident = resident_memory(); // bytes
    std::int64_t files = std::distance(fs::directory_iterator("/proc/self/fd"), {});
};

using file = std::unique_ptr<std::FILE, int (*)(std::FILE *)>;

// With a buffer of its own, so that no allocation falls into a call of the library.
file open_log()
{
    static char buffer[4096];
    file log(std::fopen(LOG, "w"), &std::fclose);
    if (!log)
        throw std::runtime_error("the library's log cannot be written");
    std::setvbuf(log.get(), buffer, _IOFBF, sizeof buffer);
    return log;
}

std::uint64_t resets_in_log()
{
    std::ifstream log(LOG);
    std::uint64_t count = 0;
    for (std::string line; std::getline(log, line);)
        count += line.find("HCAL CLEARD(RESET)") != std::string::npos ? 1 : 0;
    return count;
}

std::vector<check> checks_of(const library &used, const footprint &before, const footprint &after)
{
    const auto number = [](auto count) { return static_cast<double>(count); };
    return {
        {"allocations by calls per sample", number(used.per_sample().calls), true, 0.0},
        {"bytes kept by starts and ends", std::fabs(number(used.starts_and_ends().bytes)), true, 0.0},
        {"heap: bytes grown", number(after.heap - before.heap), true, 0.0},
        {"resident memory: KiB grown", number(after.resident - before.resident) / 1024.0, true, RESIDENT_MAX},
        {"open files grown", number(after.files - before.files), true, 0.0},
    };
}

outcome run(const options &chosen)
{
    const auto begun = std::chrono::steady_clock::now();
    const auto samples = static_cast<std::int64_t>(chosen.hours * static_cast<double>(HOUR));
    file log = open_log();
    library used(chosen.library, log.get());
    for (int i = 0; i < 5; ++i) // the loader keeps something of the first loads
        used.reload();
    sensor_service service(&used);
    day simulated(chosen.seed);
    judge judged;
    qv6d::progress bar(chosen.json, static_cast<std::uint64_t>(samples));

    footprint before;
    for (std::int64_t k = 0; k < samples; ++k)
    {
        const moment now = simulated.next();
        if (service.meet(now))
            judged.upset();
        if (k == 0)
            before = {}; // from here on
        judged.take(now, service.measure(now));
        bar.update(static_cast<std::uint64_t>(k), static_cast<std::uint64_t>(k));
    }
    const footprint after;
    service.end();
    log.reset();

    std::vector<check> checks = checks_of(used, before, after);
    checks.push_back(
        {"starts that resumed otherwise than they had to", static_cast<double>(service.bad_starts()), true, 0.0});
    const findings &found = judged.finish();
    for (const check &c : checks_of(found))
        checks.push_back(c);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begun;
    return {chosen.hours, chosen.seed, taken.count(), service.starts(), resets_in_log(), found, checks};
}

// 0 when every check passed.
int soak(const options &chosen)
{
    const qv6d::state_dir scratch("");
    fs::current_path(scratch.path());
    const outcome done = run(chosen);
    fmt::print("{}", chosen.json ? json(done) : text(done));
    return std::all_of(done.checks.begin(), done.checks.end(), [](const check &c) { return c.passed(); }) ? 0 : 1;
}

} // namespace

} // namespace soak

int main(int argc, char **argv)
{
    soak::options chosen;
    CLI::App app("Days of simulated use of libqv6dalgo, watched. Exit code 1 when a check fails.");
    app.add_option("LIBRARY", chosen.library, "The shared library")->required()->check(CLI::ExistingFile);
    app.add_option("HOURS", chosen.hours, "Simulated time, at least the 2 h in which everything happens")
        ->check(CLI::Range(2.0, 10000.0))
        ->capture_default_str();
    app.add_option("--seed", chosen.seed, "Seed of all that is random")->capture_default_str();
    app.add_flag("--json", chosen.json, "Print the figures for machines");
    CLI11_PARSE(app, argc, argv);
    try
    {
        chosen.library = soak::fs::absolute(chosen.library);
        return soak::soak(chosen);
    }
    catch (const std::exception &e)
    {
        fmt::print(stderr, "soak: {}\n", e.what());
        return 1;
    }
}
