// A replay as one self-contained HTML page, made for looking.
#pragma once

#include "cycle_source.h"
#include "cycles.h"
#include "sphere.h"
#include "summary.h"
#include "verdict.h"

#include <deque>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace qv6d
{

// The page without its data; empty in a build without it.
std::string_view report_template();

// Directions from which accepted samples came, in cells of equal area.
class coverage
{
public:
    static constexpr std::size_t COLUMNS = 24; // of azimuth
    static constexpr std::size_t ROWS = 12;    // of the sine of elevation

    void add(const vec3 &direction);

    bool empty() const;
    double share() const; // of the cells that hold a sample
    nlohmann::json json() const;

private:
    std::array<int, COLUMNS *ROWS> counts_ = {};
};

// Gathers what the page shows while the cycles pass; memory does not grow with them but for the events.
class report
{
public:
    void add(const cycle &c);

    // The page. To be called after the last cycle.
    std::string page(const cycle_source &source, const replay_settings &settings) const;

private:
    void add_sample(const cycle &c);
    void add_events(const cycle &c);
    void add_grade(const cycle &c);
    void add_coverage(const cycle &c);
    nlohmann::ordered_json data(const cycle_source &source, const replay_settings &settings) const;
    nlohmann::ordered_json columns() const;

    tally counts_;
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
