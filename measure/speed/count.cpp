// qv6d_count DIRECTORY CASE PAIRS: passes the first pairs of a recording in the directory to the library, for a
// profiler that counts instructions. The difference between two numbers of pairs is the library's work alone.

#include "samples.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
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
    calibrate(p);
    orient(p);
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

int main(int count, char **arguments)
{
    const std::string directory = count > 1 ? arguments[1] : "", name = count > 2 ? arguments[2] : "";
    if (name == "--list")
        for (const auto &c : CASES)
            std::puts(c.name);
    for (const auto &c : CASES)
    {
        if (count != 4 || name != c.name)
            continue;
        if (std::freopen("/dev/null", "w", stderr) == nullptr) // the library's lines
            return 1;
        std::vector<pair> pairs = bench::load(directory + "/" + c.recording + ".csv");
        if (c.magnet)
            pairs = bench::disturbed(pairs);
        pairs.resize(std::min<std::size_t>(pairs.size(), std::strtoul(arguments[3], nullptr, 10)));
        bench::restart();
        for (const pair &p : pairs)
            c.call(p);
        return 0;
    }
    if (name == "--list")
        return 0;
    std::fputs("usage: qv6d_count DIRECTORY --list\n       qv6d_count DIRECTORY CASE PAIRS\n", stderr);
    return 2;
}
