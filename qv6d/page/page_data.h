// What the page shows, gathered while the cycles pass; memory does not grow with them.
#pragma once

#include "common/sphere.h"
#include "common/statistics.h"
#include "explain/findings.h"
#include "page/answers.h"
#include "page/coverage.h"
#include "page/event_rates.h"
#include "page/grade_worth.h"

#include <cstdint>
#include <deque>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace qv6d
{

// What the page shows besides the findings. Null where it is not known: the page then says nothing of it.
struct page_facts
{
    std::string title;                    // of the run
    nlohmann::ordered_json run = nullptr; // command_line, options, sha256, version, date
    std::optional<vec3> true_offset = {}; // microtesla
};

class page_data
{
public:
    void add(const cycle &c);
    void add(const event &e);

    // As web/data.js describes it.
    nlohmann::ordered_json json(const findings &found, const page_facts &facts) const;

private:
    struct sample
    {
        cycle c;
        std::optional<vec3> acceleration; // m/s², last heard
    };

    struct grade_span
    {
        double from, to; // s
        int grade;
    };

    void add_sample(const cycle &c);
    void add_events(const cycle &c);
    void add_grade(const cycle &c);
    void add_coverage(const cycle &c);
    vec3 spans(const cycle &c) const;
    std::optional<vec3> centre(const cycle &last) const;
    coverage directions(const vec3 &seen_from) const;
    double dip(const vec3 &seen_from) const;
    nlohmann::ordered_json columns() const;
    nlohmann::ordered_json grades() const;
    nlohmann::ordered_json limits(const findings &found) const;
    nlohmann::ordered_json coverage_json(const findings &found, page_insights *seen) const;

    sphere_fit all_samples_;
    running_stats raw_norm_, calibrated_norm_; // the latter while an offset is published
    coverage accepted_;
    grade_worth worth_;
    event_rates rates_;
    std::optional<std::int64_t> first_t_ns_;
    std::optional<vec3> acceleration_;
    std::optional<double> scatter_min_;
    std::optional<cycle> last_reset_;
    std::deque<vec3> recent_; // fields that the buffer can hold, newest last
    std::vector<sample> drawn_;
    std::uint64_t stride_ = 1; // of the cycles drawn
    nlohmann::ordered_json events_ = nlohmann::ordered_json::array();
    std::vector<grade_span> grades_;
};

} // namespace qv6d
