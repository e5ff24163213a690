// Runs the scenarios and compares what the library put out with the table of expected hashes. docs/same-bits.md says
// what is the same, why, and when the table may change.

#include "scenarios.h"
#include "trigonometry.h"

#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

static constexpr char USAGE[] = "usage: golden TABLE              compare with the table of expected hashes\n"
                                "       golden --print            print the table\n"
                                "       golden --values SCENARIO  print every value, for a diff between two builds\n";

// Shared, so that a scenario's process can write it.
static findings *new_findings()
{
    void *memory = mmap(nullptr, sizeof(findings), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
    {
        std::perror("mmap");
        std::abort();
    }
    return static_cast<findings *>(memory);
}

[[noreturn]] static void run_here(const char *directory, int index, bool own, bool verbose, findings *found)
{
    if (chdir(directory) == 0)
    {
        own_trigonometry = own;
        ledger out(found, own, verbose); // the log shows angles, so that only the stand-in's can be compared
        run_scenario(index, found, &out);
    }
    std::fflush(nullptr);
    _exit(0);
}

// In a process and, below the present directory, in a directory of its own: nothing of one scenario reaches the next.
static bool run(int index, bool own, bool verbose, findings *found)
{
    char directory[] = "golden-XXXXXX";
    if (mkdtemp(directory) == nullptr)
    {
        std::perror(directory);
        std::abort();
    }
    std::memset(static_cast<void *>(found), 0, sizeof *found);
    std::fflush(nullptr);
    const pid_t process = fork();
    if (process == 0)
        run_here(directory, index, own, verbose, found);
    waitpid(process, nullptr, 0);

    for (const char *name : SCENARIO_FILES)
    {
        char path[64];
        std::snprintf(path, sizeof path, "%s/%s", directory, name);
        std::remove(path);
    }
    std::remove(directory);
    if (!found->complete)
        std::printf("DIED     %s\n", scenario_name(index));
    return found->complete;
}

static int find(const char *name, int count, const char *(*name_of)(int))
{
    for (int i = 0; i < count; ++i)
        if (std::strcmp(name, name_of(i)) == 0)
            return i;
    return -1;
}

static bool read_table(const char *path, std::uint64_t table[][OUTPUTS])
{
    std::FILE *file = std::fopen(path, "r");
    if (file == nullptr)
    {
        std::perror(path);
        return false;
    }
    bool known = true;
    char line[128], scenario[40], what[40], hash[40];
    while (std::fgets(line, sizeof line, file) != nullptr)
    {
        if (line[0] == '#')
            continue;
        const bool row = std::sscanf(line, "%39s %39s %39s", scenario, what, hash) == 3;
        const int index = row ? find(scenario, scenario_count(), scenario_name) : -1;
        const int column = row ? find(what, OUTPUTS, output_name) : -1;
        if (index >= 0 && column >= 0)
            table[index][column] = std::strtoull(hash, nullptr, 16);
        else
        {
            std::printf("NO SUCH  %s", line);
            known = false;
        }
    }
    std::fclose(file);
    return known;
}

static int compare_hashes(int index, const findings &own, const std::uint64_t expected[OUTPUTS])
{
    int differences = 0;
    for (int what = 0; what < OUTPUTS; ++what)
        if (own.hash[what] != expected[what])
        {
            std::printf("DIFFERS  %-20s %-12s is %016" PRIx64 ", expected %016" PRIx64 "\n", scenario_name(index),
                        output_name(what), own.hash[what], expected[what]);
            ++differences;
        }
    return differences;
}

// What the machine's trigonometry changed.
struct influence
{
    int values[OUTPUTS], others[OUTPUTS], far[OUTPUTS];
    double largest[OUTPUTS];
};

// A few last bits of a right angle. Degrees of the azimuth are as much less certain as the field is larger than its
// horizontal part.
static double limit(output what)
{
    return what == ORIENTATION ? 1e-11 : what == POLAR_ANGLE ? 1e-13 : 1e-15;
}

static void compare_angle(output what, double expected, double actual, influence *sum)
{
    ++sum->values[what];
    if (expected == actual || (std::isnan(expected) && std::isnan(actual)))
        return;
    double distance = std::fabs(actual - expected);
    if (what == ORIENTATION) // where a full turn ends
        distance = std::fmin(distance, std::fabs(360.0 - distance));
    ++sum->others[what];
    sum->far[what] += !(distance <= limit(what));
    sum->largest[what] = std::fmax(sum->largest[what], distance);
}

// With the machine's trigonometry: angles must be near, and nothing else may have changed.
static int compare_machine(int index, const findings &own, const findings &machine, influence *sum)
{
    // Far more than two mathematics libraries differ by: a grade, which feeds back, must not hang on that.
    static constexpr double MARGIN = 1e-7;

    int failures = 0;
    for (int what = 0; what < ORIENTATION; ++what)
        if (own.hash[what] != machine.hash[what])
        {
            std::printf("DEPENDS  %-20s %-12s on the mathematics library\n", scenario_name(index), output_name(what));
            ++failures;
        }
    const influence before = *sum;
    for (int i = 0; i < own.angles; ++i)
        compare_angle(own.angle[i].what, own.angle[i].value, machine.angle[i].value, sum);
    for (int what = ORIENTATION; what < LOG; ++what)
        if (sum->far[what] != before.far[what])
        {
            std::printf("FAR      %-20s %-12s %d values from the mathematics library\n", scenario_name(index),
                        output_name(what), sum->far[what] - before.far[what]);
            ++failures;
        }
    if (own.margin < MARGIN)
    {
        std::printf("TOO NEAR %-20s polar angle %g degrees from a grade's limit\n", scenario_name(index), own.margin);
        ++failures;
    }
    return failures;
}

static int check(const char *path)
{
    static std::uint64_t expected[SCENARIOS_MAX][OUTPUTS];
    bool same = read_table(path, expected);
    findings *own = new_findings(), *machine = new_findings();
    influence sum = {};
    for (int index = 0; index < scenario_count(); ++index)
    {
        const bool complete = run(index, true, false, own) && run(index, false, false, machine);
        same = complete && compare_hashes(index, *own, expected[index]) == 0 && same;
        same = complete && compare_machine(index, *own, *machine, &sum) == 0 && same;
    }
    std::printf("%d scenarios: %s\n", scenario_count(), same ? "same bits" : "NOT the same bits");
    for (int what = ORIENTATION; what < LOG; ++what)
        std::printf("  machine's trigonometry: %-12s %5d of %5d values with other bits, at most %.2g away\n",
                    output_name(what), sum.others[what], sum.values[what], sum.largest[what]);
    return same ? 0 : 1;
}

static int print_table()
{
    std::puts("# Written by golden --print; docs/same-bits.md says when.");
    findings *found = new_findings();
    for (int index = 0; index < scenario_count(); ++index)
    {
        if (!run(index, true, false, found))
            return 1;
        for (int what = 0; what < OUTPUTS; ++what)
            if (found->hash[what] != 0)
                std::printf("%s %s %016" PRIx64 "\n", scenario_name(index), output_name(what), found->hash[what]);
    }
    return 0;
}

static int print_values(const char *name)
{
    const int index = find(name, scenario_count(), scenario_name);
    if (index >= 0)
        return run(index, true, true, new_findings()) ? 0 : 1;
    std::fprintf(stderr, "no such scenario: %s\n", name);
    return 2;
}

int main(int argc, char **argv)
{
    if (argc == 2 && std::strcmp(argv[1], "--print") == 0)
        return print_table();
    if (argc == 3 && std::strcmp(argv[1], "--values") == 0)
        return print_values(argv[2]);
    if (argc == 2 && argv[1][0] != '-')
        return check(argv[1]);
    std::fputs(USAGE, stderr);
    return 2;
}
