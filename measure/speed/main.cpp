// qv6d_bench DIRECTORY: times every case over the recordings tumbling.csv and still.csv of the directory, and prints a
// line for each: name, tab, nanoseconds (the best of the repetitions), tab, multiple of the reference.

#include "cases.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <map>
#include <string>

namespace
{

// Repetitions of the cases are mixed, so that a busy minute of the machine meets all of them.
class best_times : public benchmark::BenchmarkReporter
{
public:
    bool ReportContext(const Context &) override
    {
        return true;
    }

    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs)
        {
            if (run.run_type != Run::RT_Iteration)
                continue;
            const double ns = run.cpu_accumulated_time / static_cast<double>(run.iterations) * 1e9;
            best &b = best_.try_emplace(run.family_index, best{run.run_name.function_name, ns}).first->second;
            b.ns = std::min(b.ns, ns);
        }
    }

    void add(const std::string &name, const bench::call_times &calls)
    {
        add(name + ", median call", calls.median);
        add(name + ", worst call", calls.worst);
    }

    void print() const
    {
        const double reference = best_.begin()->second.ns; // registered first
        for (const auto &[place, b] : best_)
            std::printf("%s\t%.1f\t%.2f\n", b.name.c_str(), b.ns, b.ns / reference);
    }

private:
    void add(const std::string &name, double ns)
    {
        best_.emplace(best_.empty() ? 0 : best_.rbegin()->first + 1, best{name, ns});
    }

    struct best
    {
        std::string name;
        double ns;
    };
    std::map<std::int64_t, best> best_; // in the order of registration
};

} // namespace

static void time_everything(const bench::recordings &given)
{
    char program[] = "qv6d_bench", repetitions[] = "--benchmark_repetitions=15",
         mixed[] = "--benchmark_enable_random_interleaving=true", time[] = "--benchmark_min_time=0.02";
    char *options[] = {program, repetitions, mixed, time};
    int count = 4;
    benchmark::Initialize(&count, options);
    bench::add_steps(given);
    bench::add_operations(given);
    bench::add_lifecycle();

    best_times times;
    benchmark::RunSpecifiedBenchmarks(&times);
    times.add("pair, tumbling", bench::time_calls(given.tumbling));
    times.add("service layer, pair, tumbling", bench::time_service(given.tumbling));
    times.add("service layer, 64 waiting fields", bench::time_service_releases(given.tumbling));
    times.print();
}

int main(int count, char **arguments)
{
    if (count != 2)
    {
        std::fprintf(stderr, "usage: qv6d_bench DIRECTORY\n");
        return 2;
    }
    // The library's lines: made, gathered and thrown away.
    static char lines[1 << 16];
    if (std::freopen("/dev/null", "w", stderr) == nullptr)
        return 1;
    std::setvbuf(stderr, lines, _IOFBF, sizeof lines);

    const std::string directory = arguments[1];
    bench::recordings given = {bench::load(directory + "/tumbling.csv"), bench::load(directory + "/still.csv"), {}};
    given.disturbed = bench::disturbed(given.tumbling);
    time_everything(given);
    return 0;
}
