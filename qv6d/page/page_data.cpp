#include "page/page_data.h"

#include "explain/happenings.h"
#include "explain/verdict.h"
#include "files/record_fields.h"
#include "library/configuration.h"
#include "library/grade.h"
#include "qv6dalgo.h"
#include "trust/words.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <numbers>

namespace qv6d
{

namespace
{

using nlohmann::ordered_json;

constexpr std::size_t DRAWN_MAX = 8000;                       // cycles; more would make the page slow
constexpr std::size_t EVENTS_MAX = 20000, GRADES_MAX = 20000; // what comes after these is not drawn
constexpr double SIDE_MISSING = 0.1; // of a side's cells; one that holds less has not been turned to the field
constexpr double NORM_AT_REST = 9.81, REST_ERROR_MAX = 1.0; // m/s²

double distance(const vec3 &a, const vec3 &b)
{
    return std::hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]);
}

vec3 minus(const vec3 &a, const vec3 &b)
{
    return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}

ordered_json json_of(const running_stats &stats)
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

double angle(const cycle &c, std::size_t which)
{
    return c.orientation ? (*c.orientation)[which] : std::nan("");
}

// That of the axis that scatters least.
double least_scatter(const cycle &c)
{
    return c.scatter_min ? std::ranges::min(c.scatter) : std::nan("");
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
    {"scatter", least_scatter},
    {"graded", [](const cycle &c) { return c.distance.value_or(std::nan("")); }},
    {"azimuth", [](const cycle &c) { return angle(c, 0); }},
    {"pitch", [](const cycle &c) { return angle(c, 1); }},
    {"roll", [](const cycle &c) { return angle(c, 2); }},
};

// The configuration in force, field by field, beside what the library starts with when nothing is configured.
ordered_json configuration_rows()
{
    const qvstorage_cfg now = configuration_in_force(), start = explained_configuration();
    ordered_json rows = ordered_json::array();
    for (const record_field &field : record_fields(record_type::configuration))
        rows.push_back({{"name", field.name},
                        {"value", value_text(field, now)},
                        {"start", value_text(field, start)},
                        {"unit", field.unit},
                        {"meaning", field.meaning},
                        {"changed", !same_value(field, start, now)}});
    return rows;
}

ordered_json number_or_null(std::optional<double> value)
{
    return value && std::isfinite(*value) ? ordered_json(*value)
                                          : ordered_json(); // JSON has only numbers that are finite
}

ordered_json what_happened(const cycle_counts &counts)
{
    ordered_json rows = ordered_json::array();
    for (const auto &[what, count] : occurrences(counts))
        rows.push_back({{"what", what}, {"count", count}});
    return rows;
}

ordered_json json_of(const std::optional<sphere> &best)
{
    if (!best)
        return nullptr;
    const std::string reservation = why_not_trusted(*best);
    return {{"centre", best->centre},
            {"radius", best->radius},
            {"residual", best->residual},
            {"reservation", reservation.empty() ? ordered_json() : ordered_json(reservation)}};
}

} // namespace

void page_data::add(const cycle &c)
{
    all_samples_.add(c.field[0], c.field[1], c.field[2]);
    raw_norm_.add(distance(c.field, {}));
    if (c.radius > 0.0)
        calibrated_norm_.add(c.norm);
    if (c.scatter_min)
        scatter_min_ = c.scatter_min;
    if (c.reset != reset_cause::none)
        last_reset_ = c;
    recent_.push_back(c.field);
    if (recent_.size() > BUFFER_SIZE_MAX)
        recent_.pop_front();
    worth_.add(c);
    add_sample(c);
    add_grade(c);
    add_events(c);
    add_coverage(c);
}

void page_data::add(const event &e)
{
    if (!first_t_ns_)
        first_t_ns_ = e.t_ns;
    rates_.add(e.kind, (static_cast<double>(e.t_ns) - static_cast<double>(*first_t_ns_)) / 1e9);
    if (e.kind == sensor::acc)
        acceleration_ = {e.x, e.y, e.z};
}

// Of the samples that the buffer holds, or of as many as there are.
vec3 page_data::spans(const cycle &c) const
{
    if (c.spans)
        return c.spans->span;
    const auto first = recent_.end() - static_cast<std::ptrdiff_t>(std::min(c.buffer_size, recent_.size()));
    vec3 spans = {};
    for (std::size_t axis = 0; axis < spans.size() && first != recent_.end(); ++axis)
    {
        const auto less = [axis](const vec3 &one, const vec3 &other) { return one[axis] < other[axis]; };
        const auto [low, high] = std::minmax_element(first, recent_.end(), less);
        spans[axis] = (*high)[axis] - (*low)[axis];
    }
    return spans;
}

// Every cycle until there are too many, then every second, every fourth, ...
void page_data::add_sample(const cycle &c)
{
    if (c.number % stride_ != 0)
        return;
    drawn_.push_back({c, acceleration_});
    if (drawn_.size() <= DRAWN_MAX)
        return;
    stride_ *= 2;
    std::erase_if(drawn_, [this](const sample &s) { return s.c.number % stride_ != 0; });
}

void page_data::add_grade(const cycle &c)
{
    if (grades_.size() >= GRADES_MAX)
        return;
    const bool changes = grades_.empty() || grades_.back().grade != c.grade;
    if (!grades_.empty())
        grades_.back().to = c.time;
    if (changes)
        grades_.push_back({c.time, c.time, c.grade});
}

ordered_json page_data::grades() const
{
    ordered_json spans = ordered_json::array();
    for (const grade_span &span : grades_)
        spans.push_back({{"from", span.from}, {"to", span.to}, {"grade", span.grade}});
    return spans;
}

void page_data::add_events(const cycle &c)
{
    if (events_.size() >= EVENTS_MAX)
        return;
    if (was_judged(c))
        events_.push_back({{"t", c.time},
                           {"kind", kind_of(c.outcome)},
                           {"what", words(c.outcome)},
                           {"figures", figures(c)},
                           {"span", number_or_null(std::ranges::min(spans(c)))}});
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
        accepted_.add(minus(*field, *c.fit.offset));
}

// From where the field's directions are seen: the best sphere's centre if it is good, else the published offset.
std::optional<vec3> page_data::centre(const cycle &last) const
{
    const auto best = all_samples_.best();
    if (best && why_not_trusted(*best).empty())
        return best->centre;
    return last.radius > 0.0 ? std::optional(last.offset) : std::nullopt;
}

coverage page_data::directions(const vec3 &seen_from) const
{
    coverage seen;
    for (const sample &s : drawn_)
        seen.add(minus(s.c.field, seen_from));
    return seen;
}

// How far below the horizon the field points, degrees, while the acceleration is about gravity's; NaN when not known.
double page_data::dip(const vec3 &seen_from) const
{
    running_stats dips;
    for (const sample &s : drawn_)
    {
        if (!s.acceleration)
            continue;
        const vec3 &up = *s.acceleration, field = minus(s.c.field, seen_from);
        const double g = distance(up, {}), strength = distance(field, {});
        const double upwards = (up[0] * field[0] + up[1] * field[1] + up[2] * field[2]) / (g * strength);
        if (std::abs(g - NORM_AT_REST) < REST_ERROR_MAX)
            dips.add(-std::asin(std::clamp(upwards, -1.0, 1.0)) * 180.0 / std::numbers::pi);
    }
    return dips.empty() ? std::nan("") : dips.mean();
}

ordered_json page_data::columns() const
{
    ordered_json columns;
    for (const column &wanted : COLUMNS)
    {
        ordered_json &values = columns[wanted.name] = ordered_json::array();
        for (const sample &s : drawn_)
            values.push_back(number_or_null(wanted.value(s.c)));
    }
    return columns;
}

// Null where the source does not say.
ordered_json page_data::limits(const findings &found) const
{
    ordered_json all = {
        {"span", nullptr}, {"scatter", number_or_null(scatter_min_)}, {"grades", nullptr}, {"clear", nullptr}};
    if (found.counts.widest())
        all["span"] = found.counts.widest()->min;
    if (!found.source.recording)
        return all;
    // The record is packed: its numbers are copied, for no reference may be bound to them.
    const auto number = [](double copy) { return ordered_json(copy); };
    const qvstorage_cfg &now = configuration_in_force();
    all["span"] = number(now.hcal.motion.sendiffmin);
    all["grades"] = {number(now.hcal.accuracy[0]), number(now.hcal.accuracy[1]), number(now.hcal.accuracy[2])};
    all["clear"] = number(now.hcal.clearradius);
    return all;
}

ordered_json page_data::coverage_json(const findings &found, page_insights *seen) const
{
    const auto from = centre(found.counts.last());
    if (!from)
        return nullptr;
    const coverage all = directions(*from);
    const double down = dip(*from);
    const auto reached = all.sides(), used = accepted_.sides();
    ordered_json sides = ordered_json::array();
    for (std::size_t side = 0; side < reached.size(); ++side)
    {
        sides.push_back({{"name", SIDES[side].name},
                         {"seen", reached[side]},
                         {"used", used[side]},
                         {"how", how_to_reach(side, down)}});
        if (reached[side] < SIDE_MISSING)
            seen->ways_to_missing_sides.push_back(how_to_reach(side, down));
    }
    return {{"columns", coverage::COLUMNS},
            {"rows", coverage::ROWS},
            {"seen", all.counts()},
            {"used", accepted_.counts()},
            {"seen_share", all.share()},
            {"used_share", accepted_.share()},
            {"sides", sides},
            {"dip_deg", number_or_null(down)}};
}

ordered_json page_data::json(const findings &found, const page_facts &facts) const
{
    const cycle &last = found.counts.last();
    const auto best = all_samples_.best();
    page_insights seen = {last_reset_, {}};
    const ordered_json covered = coverage_json(found, &seen);
    ordered_json out = {
        {"kind", "run"},
        {"title", facts.title},
        {"source", found.source.recording ? "recording" : "log"},
        {"timed", found.source.timed},
        {"run", facts.run},
        {"headline", headline(found)},
        {"answers", answers(found, seen)},
        {"calibration", found.source.calibration.json()},
        {"trust", json_of(found.source.grade_trust)},
        {"plausibility", found.source.input ? found.source.input->json() : ordered_json()},
        {"advice", nullptr},
        {"counts", counts_json(found.counts, found.source)},
        {"happened", what_happened(found.counts)},
        {"grade_names", GRADE_NAMES},
        {"samples", columns()},
        {"grades", grades()},
        {"events", events_},
        {"limits", limits(found)},
        {"rates", rates_.json()},
        {"worth", worth_.json(best)},
        {"raw_norm", json_of(raw_norm_)},
        {"calibrated_norm", json_of(calibrated_norm_)},
        {"published", nullptr},
        {"best", json_of(best)},
        {"true_offset", nullptr},
        {"coverage", covered},
        {"config", nullptr},
    };
    if (found.advice.best)
        out["advice"] = {json_of(*found.advice.best)};
    if (last.radius > 0.0)
        out["published"] = {{"centre", last.offset}, {"radius", last.radius}};
    if (facts.true_offset)
        out["true_offset"] = *facts.true_offset;
    if (found.source.recording)
        out["config"] = configuration_rows();
    else if (out["run"].is_object())
        out["run"]["options"] = nullptr; // those of a replay: of a log the configuration is not known whole
    return out;
}

} // namespace qv6d
