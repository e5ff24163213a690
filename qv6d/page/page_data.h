// What the page shows, gathered while the cycles pass; memory does not grow with them but for the events.
#pragma once

#include "common/sphere.h"
#include "common/statistics.h"
#include "explain/findings.h"
#include "page/coverage.h"

#include <cstdint>
#include <deque>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace qv6d
{

class page_data
{
public:
    void add(const cycle &c);

    // As web/data.js describes it. `recording` is what was read.
    nlohmann::ordered_json json(const findings &found, const std::string &recording) const;

private:
    void add_sample(const cycle &c);
    void add_events(const cycle &c);
    void add_grade(const cycle &c);
    void add_coverage(const cycle &c);

    sphere_fit all_samples_;
    running_stats raw_norm_, calibrated_norm_; // the latter while an offset is published
    coverage coverage_;
    std::deque<vec3> recent_; // fields that the buffer can hold, newest last
    std::vector<cycle> drawn_;
    std::uint64_t stride_ = 1; // of the cycles drawn
    nlohmann::ordered_json events_ = nlohmann::ordered_json::array();
    nlohmann::ordered_json grades_ = nlohmann::ordered_json::array();
};

} // namespace qv6d
