// Days of simulated use, with restarts and crashes: judges what the library answers and what it leaves behind.
// docs/soak.md says what is asserted and why.

#include "library/state_dir.h"
#include "service.h"

#include <CLI/CLI.hpp>
#include <cstring>
#include <filesystem>
#include <fmt/format.h>
#include <string_view>
#include <unistd.h>

namespace soak
{

namespace
{

namespace fs = std::filesystem;
using Eigen::Array2d;
using Eigen::Array3d;

constexpr std::int64_t COMPARED = 2 * HOUR;     // samples of the second run
constexpr std::int64_t WAVE_ENOUGH = 90 * RATE; // samples of waving after which an upset is over
constexpr double JUDGED_MIN = 10000.0;          // samples; fewer would prove nothing
constexpr double ERROR_MAX = 3.0;               // microtesla of the offset then, beyond the drift since it was waved
constexpr double RESIDENT_MAX = 512.0;          // KiB: the kernel counts pages in batches, and a load takes other pages

struct findings
{
    service_record service;
    double not_finite = 0, out_of_range = 0, settlings = 0, settled = 0, low_grades = 0; // counts
    double error = 0.0;              // microtesla, the largest of a settled offset beyond the drift
    Array2d grown = Array2d::Zero(); // KiB, open files
    std::size_t fingerprint = 0;     // of the first answers
};

struct judge
{
    findings found;
    std::int64_t waved = 0;              // samples since the last upset
    Vector3d at_wave = Vector3d::Zero(); // the true offset when it was last waved

    void take(const moment &now, const answer &got)
    {
        const Array3d low(0.0, -180.0, -90.0), high(360.0, 180.0, 90.0), angles = got.orientation;
        found.not_finite += !std::isfinite(got.radius) || !got.offset.allFinite() || !got.calibrated.allFinite();
        found.out_of_range += got.grade > QV6D_GRADE_BEST || !(angles >= low && angles <= high).all();
        if (now.k < COMPARED)
            found.fingerprint = 31 * found.fingerprint +
                                std::hash<std::string_view>()({reinterpret_cast<const char *>(&got), sizeof got});
    }

    // After an upset the offset need not be right before the phone was waved for long enough.
    void take_offset(const moment &now, bool upset, const answer &got)
    {
        if (upset)
            waved = 0;
        else if (now.waved)
        {
            at_wave = now.offset;
            found.settlings += ++waved == WAVE_ENOUGH;
        }
        if (waved < WAVE_ENOUGH)
            return;
        ++found.settled;
        found.low_grades += got.grade < QV6D_GRADE_BEST;
        found.error = std::max(found.error, (got.offset - now.offset).norm() - (now.offset - at_wave).norm());
    }
};

Array2d footprint()
{
    std::int64_t total = 0, pages = 0;
    std::ifstream("/proc/self/statm") >> total >> pages;
    const auto files = std::distance(fs::directory_iterator("/proc/self/fd"), {});
    return {static_cast<double>(pages * sysconf(_SC_PAGESIZE)) / 1024.0, static_cast<double>(files)};
}

// What a call reads without having written it is this from now on.
[[gnu::noinline]] void spoil_stack()
{
    unsigned char below[8192];
    std::memset(below, 0xA5, sizeof below);
    asm volatile("" : : "r"(below) : "memory");
}

findings run(const std::string &library, std::uint64_t seed, std::int64_t samples, bool spoilt)
{
    const qv6d::state_dir scratch("");
    fs::current_path(scratch.path());
    service used(library);
    day simulated(seed);
    judge judged;
    for (std::int64_t k = 0; k < samples; ++k)
    {
        const moment now = simulated.next();
        const bool lost = used.meet(now);
        if (k == 0)
            judged.found.grown = -footprint();
        if (spoilt)
            spoil_stack();
        const answer got = used.measure(now);
        judged.take(now, got);
        judged.take_offset(now, lost || now.upset, got);
    }
    judged.found.grown += footprint();
    used.end();
    judged.found.service = used.record;
    return judged.found;
}

// Whether every check passed.
bool report(const findings &found, const findings &again)
{
    const struct
    {
        const char *what;
        double measured, at_most;
    } checks[] = {
        {"values that are not finite", found.not_finite, 0.0},
        {"grades and angles out of range", found.out_of_range, 0.0},
        {"starts that failed or resumed otherwise than they had to", found.service.bad_starts, 0.0},
        {"record files not whole after a start or an end", found.service.torn_files, 0.0},
        {"settled: samples missing to judge them", std::max(JUDGED_MIN - found.settled, 0.0), 0.0},
        {"settled: samples below grade 3", found.low_grades, 0.0},
        {"settled: largest error beyond the drift, µT", found.error, ERROR_MAX},
        {"resident memory grown, KiB", found.grown.x(), RESIDENT_MAX},
        {"open files grown", found.grown.y(), 0.0},
        {"second run, on a spoilt stack: other answers", found.fingerprint != again.fingerprint ? 1.0 : 0.0, 0.0},
    };
    bool all = true;
    for (const auto &c : checks)
    {
        const bool passed = c.measured <= c.at_most; // not when it is NaN
        fmt::print("  {:6} {:56} {:8.3g}  at most {:g}\n", passed ? "ok" : "FAILED", c.what, c.measured, c.at_most);
        all = all && passed;
    }
    return all;
}

} // namespace

} // namespace soak

int main(int argc, char **argv)
try
{
    std::string library;
    double hours = 24.0;
    std::uint64_t seed = 1;
    CLI::App app("Days of simulated use of libqv6dalgo, watched. Exit code 1 when a check fails.");
    app.option_defaults()->always_capture_default();
    app.add_option("LIBRARY", library, "The shared library")->required()->check(CLI::ExistingFile);
    app.add_option("HOURS", hours, "At least the 2 in which everything happens")->check(CLI::Range(2.0, 10000.0));
    app.add_option("--seed", seed, "Seed of all that is random");
    CLI11_PARSE(app, argc, argv);
    if (std::freopen("/dev/null", "w", stderr) == nullptr) // where the library logs
        return 1;

    library = soak::fs::absolute(library);
    const auto samples = static_cast<std::int64_t>(hours * soak::HOUR);
    const soak::findings found = soak::run(library, seed, samples, false);
    fmt::print("{:g} h, seed {}: {} starts, settled after {} upsets, for {} of {} samples\n", hours, seed,
               found.service.starts, found.settlings, found.settled, samples);
    return soak::report(found, soak::run(library, seed, soak::COMPARED, true)) ? 0 : 1;
}
catch (const std::exception &e)
{
    fmt::print("soak: {}\n", e.what());
    return 1;
}
