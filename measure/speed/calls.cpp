// The worst call beside the median. The library does the same work in every pass, so the best of several passes is the
// time of a call without what else the machine did.

#include "cases.h"
#include "qv6dservice.h"

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

// `begin` puts everything into its first state; for each index `prepare` is called and then `call`, which is timed.
template <class Begin, class Prepare, class Call>
static call_times time_each(std::size_t count, Begin begin, Prepare prepare, Call call)
{
    constexpr int passes = 9;
    std::vector<double> best(count, 1e9);
    for (int pass = 0; pass < passes; ++pass)
    {
        begin();
        for (std::size_t i = 0; i < count; ++i)
        {
            prepare(i);
            const auto start = std::chrono::steady_clock::now();
            call(i);
            best[i] = std::min(best[i], ns_since(start));
        }
    }
    const auto middle = best.begin() + static_cast<std::ptrdiff_t>(best.size() / 2);
    std::nth_element(best.begin(), middle, best.end());
    const double overhead = clock_overhead();
    return {*middle - overhead, *std::max_element(best.begin(), best.end()) - overhead};
}

static void nothing(std::size_t)
{
}

call_times time_calls(const std::vector<pair> &pairs)
{
    qvs_calibration result;
    return time_each(pairs.size(), restart, nothing, [&](std::size_t i) { step(pairs[i], &result); });
}

static void put(qv6ds *service, qv6ds_sensor sensor, const qvs_sample &sample, float unit)
{
    qv6ds_put(service, sensor, sample.timestamp, unit * sample.x, unit * sample.y, unit * sample.z);
}

static void put_field(qv6ds *service, const qvs_sample &sample)
{
    put(service, QV6DS_MAGNETOMETER, sample, QV6D_MICROTESLA_PER_COUNT);
}

// The service of a process, started afresh.
static qv6ds *restarted()
{
    static qv6ds *service = nullptr;
    qv6ds_stop(service);
    const qv6ds_settings settings = qv6ds_defaults();
    qv6ds_start(&settings, &service);
    return service;
}

call_times time_service(const std::vector<pair> &pairs)
{
    qv6ds *service = nullptr;
    const auto both = [&](std::size_t i)
    {
        put(service, QV6DS_ACCELEROMETER, pairs[i].acc, 1.0f);
        put_field(service, pairs[i].mag);
    };
    const call_times times = time_each(
        pairs.size(), [&] { service = restarted(); }, nothing, both);
    qv6ds_stop(service);
    return times;
}

call_times time_service_releases(const std::vector<pair> &pairs)
{
    constexpr std::size_t fields = 64; // one call works on no more
    qv6ds *service = nullptr;
    const auto gather = [&](std::size_t i)
    {
        for (std::size_t k = 0; k < fields; ++k)
            put_field(service, pairs[i * fields + k].mag);
    };
    const auto release = [&](std::size_t i)
    { put(service, QV6DS_ACCELEROMETER, pairs[i * fields + fields - 1].acc, 1.0f); };
    const call_times times = time_each(
        pairs.size() / fields, [&] { service = restarted(); }, gather, release);
    qv6ds_stop(service);
    return times;
}

} // namespace bench
