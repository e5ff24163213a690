// qv6d_count DIRECTORY CASE PAIRS: passes the first pairs of a recording in the directory to the library, for a
// profiler that counts instructions. The difference between two numbers of pairs is the library's work alone.

#include "samples.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string>

using bench::pair;

static void calibrate(const pair &p)
{
    qvs_calibration result;
    QVS_doCaliApi(&p.mag, &result);
}

static void orient(const pair &p)
{
    QVS_caliApiSetAccData(&p.acc);
    QVS_caliApiSetMagData(&p.mag);
}

static void both(const pair &p)
{
    qvs_calibration result;
    bench::step(p, &result);
}

static constexpr struct
{
    const char *name, *recording;
    bool magnet;
    void (*call)(const pair &);
} CASES[] = {
    {"pair, tumbling", "tumbling", false, both},          {"pair, still", "still", false, both},
    {"pair, disturbed", "tumbling", true, both},          {"calibration, tumbling", "tumbling", false, calibrate},
    {"orientation, tumbling", "tumbling", false, orient}, {"orientation, still", "still", false, orient},
};

// False where there is no such case.
static bool run(const std::string &directory, const std::string &name, std::size_t count)
{
    const auto chosen = std::find_if(std::begin(CASES), std::end(CASES), [&](const auto &c) { return name == c.name; });
    if (chosen == std::end(CASES) || std::freopen("/dev/null", "w", stderr) == nullptr)
        return false;
    std::vector<pair> pairs = bench::load(directory + "/" + chosen->recording + ".csv");
    if (chosen->magnet)
        pairs = bench::disturbed(pairs);
    pairs.resize(std::min(pairs.size(), count));
    bench::restart();
    std::for_each(pairs.begin(), pairs.end(), chosen->call);
    return true;
}

int main(int count, char **arguments)
{
    if (count == 4)
        return run(arguments[1], arguments[2], std::strtoul(arguments[3], nullptr, 10)) ? 0 : 1;
    if (count != 2 || std::string(arguments[1]) != "--list")
    {
        std::fputs("usage: qv6d_count --list\n       qv6d_count DIRECTORY CASE PAIRS\n", stderr);
        return 2;
    }
    for (const auto &c : CASES)
        std::puts(c.name);
    return 0;
}
