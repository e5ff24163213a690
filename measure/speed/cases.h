// The cases, by subject, and the recordings they run over.
#pragma once

#include "samples.h"

namespace bench
{

struct recordings
{
    std::vector<pair> tumbling, still, disturbed;
};

// Register cases, the reference first. The recordings must outlive the run.
void add_steps(const recordings &given);
void add_operations(const recordings &given);
void add_lifecycle();

// Median and worst call of a pass, ns, each call at the best of several passes.
struct call_times
{
    double median, worst;
};
call_times time_calls(const std::vector<pair> &pairs);

// The same of the service layer: an acceleration and a field, and the acceleration for which 64 fields have waited.
call_times time_service(const std::vector<pair> &pairs);
call_times time_service_releases(const std::vector<pair> &pairs);

} // namespace bench
