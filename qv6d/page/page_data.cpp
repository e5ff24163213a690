#include "page/page_data.h"

#include "explain/happenings.h"
#include "explain/verdict.h"
#include "files/record_fields.h"
#include "library/configuration.h"
#include "library/grade.h"
#include "qv6dalgo.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fmt/format.h>

namespace qv6d
{

namespace
{

using json = nlohmann::ordered_json;

constexpr std::size_t DRAWN_MAX = 8000; // cycles; more would make the page slow
constexpr std::size_t EVENTS_MAX = 20000;

double distance(const vec3 &a, const vec3 &b)
{
    return std::hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]);
}

json json_of(const running_stats &stats)
{
    if (stats.empty())
        return nullptr;
    return {{"mean", stats.mean()}, {"sd", stats.stdev()}, {"count", stats.count()}};
}

const char *kind_of(buffer_outcome outcome)
{
    switch (outcome)
    {
    case buffer_outcome::discarded:
        return "discarded";
    case buffer_outcome::accepted:
        return "accepted";
    case buffer_outcome::validated:
        return "validated";
    case buffer_outcome::not_fitted:
    case buffer_outcome::unstable:
    case buffer_outcome::too_large:
        return "refused";
    default:
        return "not_ready";
    }
}

// The configuration in force, field by field.
json configuration_rows()
{
    const qvstorage_cfg defaults = default_configuration();
    const qvstorage_cfg &now = configuration_in_force();
    json rows = json::array();
    for (const record_field &field : record_fields(record_type::configuration))
        rows.push_back({{"name", field.name},
                        {"value", value_text(field, now)},
                        {"default", value_text(field, defaults)},
                        {"unit", field.unit},
                        {"meaning", field.meaning},
                        {"changed", !same_value(field, defaults, now)}});
    return rows;
}

double angle(const cycle &c, std::size_t which)
{
    return c.orientation ? (*c.orientation)[which] : std::nan("");
}

struct column
{
    const char *name;
    double (*value)(const cycle &c);
};

constexpr column COLUMNS[] = {
    {"t", [](const cycle &c) { return c.time; }},
    {"raw_x", [](const cycle &c) { return c.field[0]; }},
    {"raw_y", [](const cycle &c) { return c.field[1]; }},
    {"raw_z", [](const cycle &c) { return c.field[2]; }},
    {"cal_x", [](const cycle &c) { return c.calibrated[0]; }},
    {"cal_y", [](const cycle &c) { return c.calibrated[1]; }},
    {"cal_z", [](const cycle &c) { return c.calibrated[2]; }},
    {"raw_norm", [](const cycle &c) { return distance(c.field, {}); }},
    {"cal_norm", [](const cycle &c) { return c.norm; }},
    {"radius", [](const cycle &c) { return c.radius; }},
    {"off_x", [](const cycle &c) { return c.offset[0]; }},
    {"off_y", [](const cycle &c) { return c.offset[1]; }},
    {"off_z", [](const cycle &c) { return c.offset[2]; }},
    {"grade", [](const cycle &c) { return static_cast<double>(c.grade); }},
    {"azimuth", [](const cycle &c) { return angle(c, 0); }},
    {"pitch", [](const cycle &c) { return angle(c, 1); }},
    {"roll", [](const cycle &c) { return angle(c, 2); }},
};

json columns_of(const std::vector<cycle> &cycles)
{
    json columns;
    for (const column &wanted : COLUMNS)
    {
        json &values = columns[wanted.name] = json::array();
        for (const cycle &c : cycles)
        {
            const double value = wanted.value(c);
            values.push_back(std::isfinite(value) ? json(value) : nullptr); // JSON has only numbers that are finite
        }
    }
    return columns;
}

std::string about_best_sphere(const sphere &best, const cycle &last)
{
    const std::string reservation = why_not_trusted(best);
    return fmt::format("The best sphere through the whole recording has its centre at {:.1f}, {:.1f}, {:.1f} µT and a "
                       "radius of {:.1f} µT{}{}{}.",
                       best.centre[0], best.centre[1], best.centre[2], best.radius,
                       last.radius > 0.0 ? fmt::format("; the published offset is {:.1f} µT away from it",
                                                       distance(best.centre, last.offset))
                                         : "",
                       reservation.empty() ? "" : "; it is not to be trusted: ", reservation);
}

json what_happened(const cycle_counts &counts)
{
    json rows = json::array();
    for (const auto &[what, count] : occurrences(counts))
        rows.push_back({{"what", what}, {"count", count}});
    return rows;
}

} // namespace

void page_data::add(const cycle &c)
{
    all_samples_.add(c.field[0], c.field[1], c.field[2]);
    raw_norm_.add(distance(c.field, {}));
    if (c.radius > 0.0)
        calibrated_norm_.add(c.norm);
    recent_.push_back(c.field);
    if (recent_.size() > BUFFER_SIZE_MAX)
        recent_.pop_front();
    add_sample(c);
    add_grade(c);
    add_events(c);
    add_coverage(c);
}

// Every cycle until there are too many, then every second, every fourth, ...
void page_data::add_sample(const cycle &c)
{
    if (c.number % stride_ != 0)
        return;
    drawn_.push_back(c);
    if (drawn_.size() <= DRAWN_MAX)
        return;
    stride_ *= 2;
    std::erase_if(drawn_, [this](const cycle &d) { return d.number % stride_ != 0; });
}

void page_data::add_grade(const cycle &c)
{
    if (grades_.empty() || grades_.back()["grade"] != c.grade)
    {
        if (!grades_.empty())
            grades_.back()["to"] = c.time;
        grades_.push_back({{"from", c.time}, {"to", c.time}, {"grade", c.grade}});
    }
    grades_.back()["to"] = c.time;
}

void page_data::add_events(const cycle &c)
{
    if (events_.size() >= EVENTS_MAX)
        return;
    if (was_judged(c))
        events_.push_back(
            {{"t", c.time}, {"kind", kind_of(c.outcome)}, {"what", words(c.outcome)}, {"figures", figures(c)}});
    if (c.reset != reset_cause::none)
        events_.push_back(
            {{"t", c.time}, {"kind", "reset"}, {"what", words(c.reset)}, {"figures", figures_of_reset(c)}});
}

// The directions, seen from the offset that they led to, of the samples in an accepted buffer.
void page_data::add_coverage(const cycle &c)
{
    if (c.outcome != buffer_outcome::accepted && c.outcome != buffer_outcome::validated)
        return;
    const std::size_t held = std::min(c.buffer_size, recent_.size());
    for (auto field = recent_.end() - static_cast<std::ptrdiff_t>(held); field != recent_.end(); ++field)
        coverage_.add(
            {(*field)[0] - (*c.fit.offset)[0], (*field)[1] - (*c.fit.offset)[1], (*field)[2] - (*c.fit.offset)[2]});
}

nlohmann::ordered_json page_data::json(const findings &found, const std::string &recording) const
{
    const cycle &last = found.counts.last();
    const auto best = all_samples_.best();
    nlohmann::ordered_json out = {
        {"title", std::filesystem::path(recording).filename().string()},
        {"source", found.source.recording ? "recording" : "log"},
        {"timed", found.source.timed},
        {"version", QV6D_VERSION},
        {"headline", headline(found)},
        {"verdict", verdict(found)},
        {"counts", counts_json(found.counts, found.source)},
        {"happened", what_happened(found.counts)},
        {"grade_names", GRADE_NAMES},
        {"samples", columns_of(drawn_)},
        {"grades", grades_},
        {"events", events_},
        {"raw_norm", json_of(raw_norm_)},
        {"calibrated_norm", json_of(calibrated_norm_)},
        {"published", nullptr},
        {"best", nullptr},
        {"coverage", nullptr},
        {"config", nullptr},
    };
    if (last.radius > 0.0)
        out["published"] = {{"centre", last.offset}, {"radius", last.radius}};
    if (best)
    {
        out["verdict"].push_back(about_best_sphere(*best, last));
        out["best"] = {{"centre", best->centre}, {"radius", best->radius}, {"residual", best->residual}};
    }
    if (!coverage_.empty())
        out["coverage"] = coverage_.json();
    if (found.source.recording) // of a log the configuration is not known whole
        out["config"] = configuration_rows();
    return out;
}

} // namespace qv6d
