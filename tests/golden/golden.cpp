// Runs a scenario and prints what the library put out in it: every angle, and a hash per output. golden.sh compares.

#include "scenarios.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

static constexpr char USAGE[] = "usage: golden --list               names of the scenarios\n"
                                "       golden --own SCENARIO       with the stand-in for sine and its like\n"
                                "       golden --lean SCENARIO      the same as a service has it, and the log\n"
                                "       golden --machine SCENARIO   with the machine's functions\n"
                                "       golden --values SCENARIO    every value, for a diff between two builds\n";

static int run(const std::string &mode, int index)
{
    char directory[] = "golden-XXXXXX"; // for the library's files
    if (mkdtemp(directory) == nullptr)
    {
        std::perror(directory);
        return 1;
    }
    std::filesystem::current_path(directory);
    own_trigonometry = mode != "--machine";
    documented_way = mode != "--lean";
    log_is_seen = mode == "--lean" || mode == "--values";
    print_values = mode == "--values";
    run_scenario(index);
    std::filesystem::current_path("..");
    std::filesystem::remove_all(directory);
    print_hashes(scenario_name(index));
    return 0;
}

int main(int argc, char **argv)
{
    const std::string mode = argc > 1 ? argv[1] : "", scenario = argc > 2 ? argv[2] : "";
    for (int index = 0; scenario_name(index) != nullptr; ++index)
        if (mode == "--list")
            std::puts(scenario_name(index));
        else if (scenario == scenario_name(index) &&
                 (mode == "--own" || mode == "--lean" || mode == "--machine" || mode == "--values"))
            return run(mode, index);
    if (mode == "--list")
        return 0;
    std::fputs(USAGE, stderr);
    return 2;
}
