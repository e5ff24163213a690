// Each operation of the hot path by itself, on the state that the tumbling recording leaves.

#include "cases.h"

#include "hcal/qvhcal.h"

#include <array>
#include <benchmark/benchmark.h>

namespace bench
{

namespace
{

qvcrd_vec3 field_of(const pair &p)
{
    return {p.mag.x * QV6D_MICROTESLA_PER_COUNT, p.mag.y * QV6D_MICROTESLA_PER_COUNT,
            p.mag.z * QV6D_MICROTESLA_PER_COUNT};
}

// A calibration that an operation finds in use.
qvhcal_state calibrated(const recordings &given)
{
    qvhcal_cfg cfg;
    qvhcal_bak bak;
    qvhcal_state state = {};
    qvhcal_get_default_cfg(&cfg);
    qvhcal_get_bak(&bak, &cfg);
    qvhcal_init(&state, &cfg, &bak);
    for (std::size_t i = 0; i < 3000; ++i)
    {
        const qvcrd_vec3 field = field_of(given.tumbling[i]);
        qvhcal_update(&state, 0, field.x, field.y, field.z, 0.0);
    }
    return state;
}

// Cycles through fields near each other in time, prepared ahead.
class fields
{
public:
    explicit fields(const recordings &given)
    {
        for (std::size_t i = 0; i < ring_.size(); ++i)
            ring_[i] = field_of(given.tumbling[i + 3000]);
    }

    const qvcrd_vec3 &next()
    {
        return ring_[at_++ % ring_.size()];
    }

    const qvcrd_vec3 *all() const
    {
        return ring_.data();
    }

private:
    std::array<qvcrd_vec3, 64> ring_;
    std::size_t at_ = 0;
};

template <typename Operation>
void add(const char *name, const recordings &given, Operation operation)
{
    const auto run = [&given, operation](benchmark::State &state)
    {
        fields samples(given);
        Operation run_one = operation; // with the state that it was given
        for (auto _ : state)
            run_one(samples);
    };
    benchmark::RegisterBenchmark(name, run);
}

void add_filter(const char *name, const recordings &given, int32_t window, int32_t components)
{
    qvmaf filter = {};
    qvmaf_cfg cfg;
    qvmaf_config(&cfg, window, components);
    qvmaf_init(&filter, &cfg);
    add(name, given,
        [filter](fields &samples) mutable
        {
            const qvcrd_vec3 &v = samples.next();
            const double sample[4] = {v.x, v.y, v.z, v.x};
            double mean[4];
            qvmaf_run(&filter, sample, mean);
            benchmark::DoNotOptimize(mean);
        });
}

} // namespace

void add_operations(const recordings &given)
{
    const qvhcal_state in_use = calibrated(given);
    add_filter("qvmaf_run, 15 of 2", given, 15, 2);
    add_filter("qvmaf_run, 15 of 3", given, 15, 3);
    add_filter("qvmaf_run, 10 of 4", given, 10, 4);
    add("qvcrd_get_stdev, 25", given,
        [](fields &samples) { benchmark::DoNotOptimize(qvcrd_get_stdev(samples.all(), 25)); });
    add("qvmotion_get_movement, 25", given,
        [s = in_use](fields &samples) mutable
        { benchmark::DoNotOptimize(qvmotion_get_movement(&s.motion, samples.all(), 25, 0, 0.0)); });
    add("qvmotion_get_result, 25", given,
        [s = in_use](fields &samples) mutable
        { benchmark::DoNotOptimize(qvmotion_get_result(&s.motion, samples.all(), 25)); });
    add("qvrlsm_update", given,
        [s = in_use](fields &samples) mutable
        {
            const qvcrd_vec3 &v = samples.next();
            benchmark::DoNotOptimize(qvrlsm_update(&s.rlsm, v.x, v.y, v.z));
        });
    add("qvrlsm_lsm, 25", given,
        [](fields &samples)
        {
            qvrlsm_state batch;
            benchmark::DoNotOptimize(qvrlsm_lsm(&batch, samples.all(), 25));
        });
    add("update_accuracy", given,
        [s = in_use](fields &samples) mutable
        {
            // Without the offset, as the cycle hands it over; with it every call would reset the calibration.
            const qvcrd_vec3 field = qvcrd_sub(samples.next(), qvhcal_get_offset(&s));
            benchmark::DoNotOptimize(update_accuracy(&s, field));
        });
    add("exponential_smothing", given,
        [s = in_use](fields &samples) mutable
        {
            const qvcrd_vec3 &v = samples.next();
            benchmark::DoNotOptimize(exponential_smothing(&s, v.x, v.y, v.z));
        });
    add("qvcrd_get_inclination", given,
        [](fields &samples) {
            benchmark::DoNotOptimize(qvcrd_get_inclination({0.5, 4.0, 8.9}, samples.next()));
        });
    add("qvcrd_get_orientation", given,
        [](fields &samples)
        {
            const qvcrd_vec3 acc = {0.5, 4.0, 8.9};
            benchmark::DoNotOptimize(qvcrd_get_orientation(&acc, &samples.next()));
        });
}

void add_lifecycle()
{
    const auto run = [](benchmark::State &state)
    {
        restart();
        for (auto _ : state)
        {
            qvalgo_term();
            start();
        }
    };
    benchmark::RegisterBenchmark("terminate and initialise, with files", run)->Unit(benchmark::kMicrosecond);
}

} // namespace bench
