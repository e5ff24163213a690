// Samples of several files as events in the order of time.
#pragma once

#include "recordings/event_source.h"
#include "recordings/sample_stream.h"

#include <memory>
#include <vector>

namespace qv6d
{

// Acceleration without gravity plus gravity, which is interpolated to its times.
std::unique_ptr<sample_stream> add_gravity(std::unique_ptr<sample_stream> linear,
                                           std::unique_ptr<sample_stream> gravity);

// Samples that come up to a second late are put into their place; later ones are left out and counted.
std::unique_ptr<event_source> merge(std::vector<std::unique_ptr<sample_stream>> streams);

} // namespace qv6d
