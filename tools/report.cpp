#include "report.h"

#include "happenings.h"
#include "record_fields.h"
#include "storage/qvstorage_object.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fmt/format.h>
#include <numbers>

namespace qv6d
{

namespace
{

constexpr std::size_t DRAWN_MAX = 8000; // cycles; more would make the page slow
constexpr std::size_t EVENTS_MAX = 20000;
constexpr std::string_view DATA_TOKEN = "__QV6D_REPORT_DATA__";

double distance(const vec3 &a, const vec3 &b)
{
    return std::hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]);
}

// What a browser would take for the end of the data's element is escaped.
std::string for_script(const nlohmann::ordered_json &data)
{
    std::string text = data.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace), out;
    out.reserve(text.size());
    for (const char c : text)
        if (c == '<')
            out += "\\u003c";
        else
            out += c;
    return out;
}

nlohmann::ordered_json json_of(const running_stats &stats)
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

// The configuration in force, which only a replay knows whole.
nlohmann::ordered_json configuration()
{
    const qvstorage_cfg defaults = default_configuration();
    const auto *base = reinterpret_cast<const char *>(&defaults);
    const auto *now = reinterpret_cast<const char *>(&qvstorage_object.cfg);
    auto rows = nlohmann::ordered_json::array();
    for (const record_field &field : record_fields(record_type::configuration))
        rows.push_back({{"name", field.name},
                        {"value", value_text(field, now)},
                        {"default", value_text(field, base)},
                        {"unit", field.unit},
                        {"meaning", field.meaning},
                        {"changed", !same_value(field, base, now)}});
    return rows;
}

std::string headline(const tally &counts, const cycle_source &source)
{
    if (!counts.calibrated_since())
        return "Not calibrated";
    return "Calibrated since " + moment(*counts.calibrated_since(), source);
}

// Which of `count` equal parts of 0 to 1 holds the share.
std::size_t cell(double share, std::size_t count)
{
    return std::min(static_cast<std::size_t>(share * static_cast<double>(count)), count - 1);
}

} // namespace

void coverage::add(const vec3 &direction)
{
    const double length = std::hypot(direction[0], direction[1], direction[2]);
    if (!(length > 0.0) || !std::isfinite(length))
        return;
    const double turn = std::atan2(direction[1], direction[0]) / (2.0 * std::numbers::pi) + 0.5;
    const double height = direction[2] / length / 2.0 + 0.5;
    const std::size_t column = cell(turn, COLUMNS), row = cell(height, ROWS);
    ++counts_[row * COLUMNS + column];
}

bool coverage::empty() const
{
    return share() == 0.0;
}

double coverage::share() const
{
    const auto held = std::count_if(counts_.begin(), counts_.end(), [](int n) { return n > 0; });
    return static_cast<double>(held) / static_cast<double>(counts_.size());
}

nlohmann::json coverage::json() const
{
    return {{"columns", COLUMNS}, {"rows", ROWS}, {"counts", counts_}, {"share", share()}};
}

void report::add(const cycle &c)
{
    counts_.add(c);
    all_samples_.add(c.field[0], c.field[1], c.field[2]);
    raw_norm_.add(distance(c.field, {}));
    if (c.radius > 0.0)
        calibrated_norm_.add(c.norm);
    recent_.push_back(c.field);
    if (recent_.size() > QVHCAL_RBUF_MAX)
        recent_.pop_front();
    add_sample(c);
    add_grade(c);
    add_events(c);
    add_coverage(c);
}

// Every cycle until there are too many, then every second, every fourth, ...
void report::add_sample(const cycle &c)
{
    if (c.number % stride_ != 0)
        return;
    drawn_.push_back(c);
    if (drawn_.size() <= DRAWN_MAX)
        return;
    stride_ *= 2;
    std::erase_if(drawn_, [this](const cycle &d) { return d.number % stride_ != 0; });
}

void report::add_grade(const cycle &c)
{
    if (grades_.empty() || grades_.back()["grade"] != c.grade)
    {
        if (!grades_.empty())
            grades_.back()["to"] = c.time;
        grades_.push_back({{"from", c.time}, {"to", c.time}, {"grade", c.grade}});
    }
    grades_.back()["to"] = c.time;
}

void report::add_events(const cycle &c)
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
void report::add_coverage(const cycle &c)
{
    if (c.outcome != buffer_outcome::accepted && c.outcome != buffer_outcome::validated)
        return;
    const std::size_t held = std::min(c.buffer_size, recent_.size());
    for (auto field = recent_.end() - static_cast<std::ptrdiff_t>(held); field != recent_.end(); ++field)
        coverage_.add(
            {(*field)[0] - (*c.fit.offset)[0], (*field)[1] - (*c.fit.offset)[1], (*field)[2] - (*c.fit.offset)[2]});
}

nlohmann::ordered_json report::columns() const
{
    static constexpr const char *NAMES[] = {"t",     "raw_x",    "raw_y",    "raw_z",  "cal_x", "cal_y",
                                            "cal_z", "raw_norm", "cal_norm", "radius", "off_x", "off_y",
                                            "off_z", "grade",    "azimuth",  "pitch",  "roll"};
    nlohmann::ordered_json out;
    for (const char *column : NAMES)
        out[column] = nlohmann::json::array();
    for (const cycle &c : drawn_)
    {
        const double none = std::nan("");
        const vec3 turn = c.orientation.value_or(vec3{none, none, none});
        const double values[] = {c.time,          c.field[0],
                                 c.field[1],      c.field[2],
                                 c.calibrated[0], c.calibrated[1],
                                 c.calibrated[2], distance(c.field, {}),
                                 c.norm,          c.radius,
                                 c.offset[0],     c.offset[1],
                                 c.offset[2],     static_cast<double>(c.grade),
                                 turn[0],         turn[1],
                                 turn[2]};
        static_assert(std::size(values) == std::size(NAMES));
        for (std::size_t k = 0; k < std::size(NAMES); ++k) // JSON has only numbers that are finite
            out[NAMES[k]].push_back(std::isfinite(values[k]) ? nlohmann::ordered_json(values[k]) : nullptr);
    }
    return out;
}

nlohmann::ordered_json report::data(const cycle_source &source, const replay_settings &settings) const
{
    const cycle &last = counts_.last();
    const bool published = last.radius > 0.0;
    const auto best = all_samples_.best();
    std::vector<std::string> sentences = verdict(counts_, source, settings);
    if (best)
    {
        const std::string reservation = doubt(*best);
        sentences.push_back(fmt::format("The best sphere through the whole recording has its centre at {:.1f}, {:.1f}, "
                                        "{:.1f} µT and a radius of {:.1f} µT{}{}{}.",
                                        best->centre[0], best->centre[1], best->centre[2], best->radius,
                                        published ? fmt::format("; the published offset is {:.1f} µT away from it",
                                                                distance(best->centre, last.offset))
                                                  : "",
                                        reservation.empty() ? "" : "; it is not to be trusted: ", reservation));
    }

    nlohmann::ordered_json out = {
        {"title", std::filesystem::path(settings.recording).filename().string()},
        {"source", source.recording ? "recording" : "log"},
        {"timed", source.timed},
        {"version", fmt::format("{}", QVSTORAGE_VERSION)},
        {"headline", headline(counts_, source)},
        {"verdict", sentences},
        {"counts", counts_.json(source)},
        {"samples", columns()},
        {"grades", grades_},
        {"events", events_},
        {"raw_norm", json_of(raw_norm_)},
        {"calibrated_norm", json_of(calibrated_norm_)},
        {"published", nullptr},
        {"best", nullptr},
        {"coverage", nullptr},
        {"config", nullptr},
    };
    if (published)
        out["published"] = {{"centre", last.offset}, {"radius", last.radius}};
    if (best)
        out["best"] = {{"centre", best->centre}, {"radius", best->radius}, {"residual", best->residual}};
    if (!coverage_.empty())
        out["coverage"] = coverage_.json();
    if (source.recording)
        out["config"] = configuration();
    return out;
}

std::string report::page(const cycle_source &source, const replay_settings &settings) const
{
    std::string page(report_template());
    const std::size_t at = page.find(DATA_TOKEN);
    return page.replace(at, DATA_TOKEN.size(), for_script(data(source, settings)));
}

} // namespace qv6d
