// The worst call beside the median. The library does the same work in every pass, so the best of several passes is the
// time of a call without what else the machine did.

#include "cases.h"

#include <algorithm>
#include <chrono>

namespace bench
{

static double ns_since(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
}

// What reading the clock twice takes by itself.
static double clock_overhead()
{
    double best = 1e9;
    for (int i = 0; i < 10000; ++i)
        best = std::min(best, ns_since(std::chrono::steady_clock::now()));
    return best;
}

call_times time_calls(const std::vector<pair> &pairs)
{
    constexpr int passes = 9;
    std::vector<double> best(pairs.size(), 1e9);
    for (int pass = 0; pass < passes; ++pass)
    {
        restart();
        qvs_calibration result;
        for (std::size_t i = 0; i < pairs.size(); ++i)
        {
            const auto start = std::chrono::steady_clock::now();
            step(pairs[i], &result);
            best[i] = std::min(best[i], ns_since(start));
        }
    }
    const auto middle = best.begin() + static_cast<std::ptrdiff_t>(best.size() / 2);
    std::nth_element(best.begin(), middle, best.end());
    const double overhead = clock_overhead();
    return {*middle - overhead, *std::max_element(best.begin(), best.end()) - overhead};
}

} // namespace bench
