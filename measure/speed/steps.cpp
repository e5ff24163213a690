// The per-sample path as a service calls it, over whole recordings.

#include "cases.h"

#include "samples.h"
#include "triad.h"

#include <benchmark/benchmark.h>

namespace bench
{

namespace
{

// Every repetition is one pass over the recording by a library that has just been started: the same work each time.
template <typename Call>
void pass(benchmark::State &state, const std::vector<pair> &pairs, Call call)
{
    std::size_t i = 0;
    for (auto _ : state)
        call(pairs[i++]);
}

void reference(benchmark::State &state, const std::vector<pair> &pairs)
{
    attitude result;
    std::size_t i = 0;
    for (auto _ : state)
    {
        const pair &p = pairs[i++];
        triad({p.acc.x, p.acc.y, p.acc.z}, {p.mag.x, p.mag.y, p.mag.z}, &result);
        benchmark::DoNotOptimize(result);
    }
}

void add(const std::string &name, const std::vector<pair> &pairs,
         void (*run)(benchmark::State &, const std::vector<pair> &))
{
    benchmark::RegisterBenchmark(name.c_str(), [&pairs, run](benchmark::State &state) { run(state, pairs); })
        ->Iterations(static_cast<benchmark::IterationCount>(pairs.size()));
}

void both(benchmark::State &state, const std::vector<pair> &pairs)
{
    restart();
    qvs_calibration result;
    pass(state, pairs, [&](const pair &p) { step(p, &result); });
}

void calibration(benchmark::State &state, const std::vector<pair> &pairs)
{
    restart();
    qvs_calibration result;
    pass(state, pairs, [&](const pair &p) { QVS_doCaliApi(&p.mag, &result); });
}

void fusion(benchmark::State &state, const std::vector<pair> &pairs)
{
    restart();
    const auto both_samples = [](const pair &p)
    {
        QVS_caliApiSetAccData(&p.acc);
        QVS_caliApiSetMagData(&p.mag);
    };
    pass(state, pairs, both_samples);
}

void with_debug(benchmark::State &state, const std::vector<pair> &pairs)
{
    restart();
    qvalgo_config_debug(1);
    start();
    qvs_calibration result;
    pass(state, pairs, [&](const pair &p) { step(p, &result); });
}

} // namespace

void add_steps(const recordings &given)
{
    add("reference triad", given.tumbling, reference);
    add("pair, tumbling", given.tumbling, both);
    add("pair, still", given.still, both);
    add("pair, disturbed", given.disturbed, both);
    add("QVS_doCaliApi, tumbling", given.tumbling, calibration);
    add("QVS_caliApiSetAccData + QVS_caliApiSetMagData, tumbling", given.tumbling, fusion);
    add("pair, tumbling, debug lines formatted and dropped", given.tumbling, with_debug);
}

} // namespace bench
