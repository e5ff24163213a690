#include "recordings/plausibility.h"

#include "common/error.h"
#include "common/text.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace qv6d
{

namespace
{

constexpr std::array<sensor, 3> SENSORS = {sensor::acc, sensor::gyr, sensor::mag};
constexpr double RATE_MIN = 2.0, RATE_MAX = 2500.0;               // Hz, of sensors in devices that are carried
constexpr double EARTH_MIN = 22.0, EARTH_MAX = 67.0, SLACK = 1.6; // µT; indoors and with soft iron by a factor of SLACK
constexpr double CALIBRATED_WITHIN = 3.0;                         // µT of the centre from zero
constexpr std::size_t SPREAD_MAX = 4096;

const char *title(const std::string &format)
{
    static constexpr std::pair<std::string_view, const char *> TITLES[] = {
        {"qv6d", "recording of qv6d"},      {"sensor_logger", "Sensor Logger"}, {"phyphox", "phyphox"},
        {"gnss_logger", "GnssLogger"},      {"androsensor", "AndroSensor"},     {"senslogs", "senslogs"},
        {"csv", "table of another program"}};
    for (const auto &[code, words] : TITLES)
        if (code == format)
            return words;
    return "not known";
}

void add(std::vector<plausibility_finding> *found, const char *code, std::string text,
         std::optional<std::uint64_t> line = std::nullopt, severity weight = severity::warning)
{
    found->push_back({code, weight, std::move(text), line});
}

struct field_unit
{
    const char *option, *words;
    double microtesla;
};

// In which other unit of the time the rate would be one of a device; a sentence.
std::string better_time_unit(std::optional<time_unit> used, double rate)
{
    if (used)
        for (const time_unit unit : {time_unit::s, time_unit::ms, time_unit::us, time_unit::ns})
            if (const double other = rate * std::pow(10.0, static_cast<int>(*used) - static_cast<int>(unit));
                unit != *used && other >= RATE_MIN && other < RATE_MAX / 2.0)
                return fmt::format(" With --time-unit {} it would have {:.3g}.", name(unit), other);
    return "";
}

// In which other unit the value would be a field of the earth; the options' names.
const field_unit *unit_that_fits(double value)
{
    static constexpr field_unit UNITS[] = {{"counts", "counts of 0.15 µT", 0.15},
                                           {"gauss", "gauss", 100.0},
                                           {"mt", "millitesla", 1e3},
                                           {"t", "tesla", 1e6},
                                           {"nt", "nanotesla", 1e-3}};
    for (const field_unit &unit : UNITS)
        if (value * unit.microtesla >= EARTH_MIN && value * unit.microtesla <= EARTH_MAX)
            return &unit;
    return nullptr;
}

} // namespace

void spread_sample::add(double value)
{
    if (seen_++ % stride_ != 0)
        return;
    if (values_.size() == SPREAD_MAX)
    {
        for (std::size_t k = 0; k < SPREAD_MAX / 2; ++k)
            values_[k] = values_[2 * k];
        values_.resize(SPREAD_MAX / 2);
        stride_ *= 2;
        if ((seen_ - 1) % stride_ != 0)
            return;
    }
    values_.push_back(value);
}

std::optional<double> spread_sample::median() const
{
    if (values_.empty())
        return std::nullopt;
    std::vector<double> sorted = values_;
    const auto middle = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2);
    std::nth_element(sorted.begin(), middle, sorted.end());
    return *middle;
}

double plausibility::times::rate() const
{
    const double seconds = static_cast<double>(last_ns) / 1e9 - static_cast<double>(first_ns) / 1e9;
    return events > 1 && seconds > 0.0 ? static_cast<double>(events - 1) / seconds : 0.0;
}

const plausibility::times &plausibility::of(sensor kind) const
{
    return sensors_[static_cast<std::size_t>(kind)];
}

double plausibility::seconds(std::int64_t t_ns) const
{
    return static_cast<double>(static_cast<std::uint64_t>(t_ns) - static_cast<std::uint64_t>(*first_ns_)) / 1e9;
}

void plausibility::open(const recording_origin &origin)
{
    origin_ = origin;
}

void plausibility::close(const std::vector<remark> &remarks)
{
    remarks_ = remarks;
}

void plausibility::add(const event &e, std::uint64_t line)
{
    if (!first_ns_)
        first_ns_ = e.t_ns;
    if (e.kind == sensor::bias)
        return;
    times &t = sensors_[static_cast<std::size_t>(e.kind)];
    if (t.events > 0)
        add_step(&t, e, line);
    else
        t.first_ns = e.t_ns;
    t.last_ns = e.t_ns;
    t.last = {e.x, e.y, e.z};
    ++t.events;
    if (!std::isfinite(e.x) || !std::isfinite(e.y) || !std::isfinite(e.z))
    {
        if (++t.not_numbers == 1)
            t.first_bad_line = line;
        return;
    }
    const double unit = e.kind == sensor::mag ? microtesla_ : 1.0;
    const double x = e.x * unit, y = e.y * unit, z = e.z * unit;
    t.norm.add(std::sqrt(x * x + y * y + z * z));
    if (e.kind == sensor::mag)
        field_.add(x, y, z);
}

void plausibility::add_step(times *t, const event &e, std::uint64_t line) const
{
    const double step =
        static_cast<double>(static_cast<std::uint64_t>(e.t_ns) - static_cast<std::uint64_t>(t->last_ns)) / 1e9;
    t->same_time += step == 0.0 ? 1 : 0;
    t->same_value += t->last == std::array{e.x, e.y, e.z} ? 1 : 0;
    t->step_s.add(step);
    if (step <= t->longest_gap_s)
        return;
    t->longest_gap_s = step;
    t->gap_at_s = seconds(t->last_ns);
    t->gap_line = line;
}

std::vector<plausibility_finding> plausibility::findings() const
{
    list found;
    judge_presence(&found);
    judge_numbers(&found);
    judge_times(&found);
    judge_acceleration(&found);
    judge_turn_rate(&found);
    judge_field(&found);
    for (const remark &r : remarks_)
        qv6d::add(&found, r.code.c_str(), r.text);
    return found;
}

void plausibility::judge_presence(list *found) const
{
    if (of(sensor::mag).events == 0)
        qv6d::add(found, "missing_mag", "there are no mag events: nothing can be calibrated", std::nullopt,
                  severity::error);
    if (of(sensor::acc).events == 0)
        qv6d::add(found, "missing_acc", "there are no acc events: azimuth, pitch and roll mean nothing");
}

void plausibility::judge_numbers(list *found) const
{
    for (const sensor kind : SENSORS)
        if (const times &t = of(kind); t.not_numbers > 0)
            qv6d::add(found, "not_numbers",
                      fmt::format("{} of {} {} in line {}{}", counted(t.not_numbers, "sample"), name(kind),
                                  t.not_numbers == 1 ? "is not a number," : "are not numbers, the first",
                                  t.first_bad_line,
                                  kind == sensor::gyr  ? ""
                                  : t.not_numbers == 1 ? ": it spoils the rest of a replay"
                                                       : ": one of them spoils the rest of a replay"),
                      t.first_bad_line, severity::error);
}

// Units that are wrong by powers of ten, gaps, and times that stand still.
void plausibility::judge_times(list *found) const
{
    for (const sensor kind : SENSORS)
    {
        const times &t = of(kind);
        const double rate = t.rate(), step = t.step_s.median().value_or(0.0);
        const double typical = step > 0.0 ? 1.0 / step : rate;
        if (t.events > 1 && t.last_ns == t.first_ns)
            qv6d::add(found, "time_stands_still", fmt::format("all {} events have the same time", name(kind)));
        else if (typical > RATE_MAX || (rate > 0.0 && typical < RATE_MIN))
        {
            qv6d::add(found, "time_unit",
                      fmt::format("{} has {:.3g} events a second: is the unit of the time wrong?{}", name(kind),
                                  typical, better_time_unit(origin_.time, typical)));
        }
        else if (t.longest_gap_s > std::max(0.25, 8.0 * step))
            qv6d::add(found, "gap",
                      fmt::format("{} has a gap of {:.2f} s at {:.1f} s (line {})", name(kind), t.longest_gap_s,
                                  t.gap_at_s, t.gap_line),
                      t.gap_line);
        if (t.last_ns != t.first_ns && t.same_time * 100 > t.events)
            qv6d::add(
                found, "duplicate_times",
                fmt::format("{} of {} {} events have the time of the one before", t.same_time, t.events, name(kind)));
    }
    if (const times &t = of(sensor::mag); t.events > 20 && t.same_value * 2 > t.events)
        qv6d::add(found, "repeated_samples",
                  fmt::format("{} of {} mag events repeat the one before: the sensor is slower than the recording",
                              t.same_value, t.events));
}

void plausibility::judge_acceleration(list *found) const
{
    const auto norm = of(sensor::acc).norm.median();
    if (!norm || (*norm > 8.0 && *norm < 12.0))
        return;
    if (*norm > 0.8 && *norm < 1.25)
        qv6d::add(found, "acc_in_g",
                  fmt::format(
                      "the acceleration's median norm is {:.2f}, expected 9.81 m/s²: it is in g; say so with --unit g",
                      *norm));
    else if (*norm < 3.0)
        qv6d::add(
            found, "acc_without_gravity",
            fmt::format("the acceleration's median norm is {:.2f} m/s², expected 9.81: is it without gravity?", *norm));
    else
        qv6d::add(
            found, "acc_norm",
            fmt::format("the acceleration's median norm is {:.2f} m/s², expected 9.81: is its unit wrong?", *norm));
}

void plausibility::judge_turn_rate(list *found) const
{
    if (const auto norm = of(sensor::gyr).norm.median(); norm && *norm > 20.0)
        qv6d::add(found, "gyr_in_degrees",
                  fmt::format("the median turn rate is {:.0f} rad/s, faster than a hand turns: if it is in degrees a "
                              "second, say so with --unit degs",
                              *norm));
}

// Hard iron adds to the earth's field, so the radius of the samples' sphere is judged where there is one.
void plausibility::judge_field(list *found) const
{
    const auto norm = of(sensor::mag).norm.median();
    if (!norm)
        return;
    const auto best = field_.best();
    const bool fits = best && best->thickness >= 0.25 * best->radius && why_not_trusted(*best).empty();
    const double value = fits ? best->radius : *norm;
    const bool too_weak = value < EARTH_MIN / SLACK, too_strong = fits ? value > EARTH_MAX * SLACK : value > 5000.0;
    if ((fits && too_weak) || (!fits && *norm < 5.0) || too_strong)
    {
        const field_unit *unit = unit_that_fits(value / microtesla_);
        std::string text = fmt::format("the field's {} is {:.3g} µT, the earth's is {:.0f} to {:.0f} µT",
                                       fits ? "radius" : "median norm", value, EARTH_MIN, EARTH_MAX);
        if (unit != nullptr)
            text += fmt::format(": if it is in {}, say so with --unit {}", unit->words, unit->option);
        qv6d::add(found, "field_norm", text);
    }
    else if (fits && std::hypot(best->centre[0], best->centre[1], best->centre[2]) < CALIBRATED_WITHIN)
        qv6d::add(
            found, "already_calibrated",
            fmt::format("the field's centre is {:.1f} µT from zero: it is calibrated already, so there is nothing to "
                        "learn",
                        std::hypot(best->centre[0], best->centre[1], best->centre[2])));
}

nlohmann::ordered_json plausibility::json() const
{
    nlohmann::ordered_json sensors, all = nlohmann::ordered_json::array();
    for (const sensor kind : SENSORS)
    {
        const times &t = of(kind);
        const auto norm = t.norm.median();
        sensors[name(kind)] = {{"events", t.events},
                               {"rate_hz", t.rate() > 0.0 ? nlohmann::ordered_json(t.rate()) : nullptr},
                               {"longest_gap_s", t.events > 1 ? nlohmann::ordered_json(t.longest_gap_s) : nullptr},
                               {"not_numbers", t.not_numbers},
                               {"median_norm", norm ? nlohmann::ordered_json(*norm) : nullptr}};
    }
    for (const plausibility_finding &f : findings())
        all.push_back({{"code", f.code},
                       {"severity", f.weight == severity::error ? "error" : "warning"},
                       {"text", f.text},
                       {"line", f.line ? nlohmann::ordered_json(*f.line) : nullptr}});
    return {{"sensors", sensors}, {"findings", all}};
}

std::string plausibility::rates() const
{
    std::string all;
    for (const sensor kind : SENSORS)
    {
        const times &t = of(kind);
        all += all.empty() ? "" : ", ";
        all += t.events == 0 ? fmt::format("no {}", name(kind)) : fmt::format("{} {:.4g} Hz", name(kind), t.rate());
    }
    return all;
}

std::string plausibility::text() const
{
    const list found = findings();
    std::string all = fmt::format("  input       {}: {}; {}\n", title(origin_.format), rates(),
                                  found.empty() ? "nothing is strange"
                                                : counted(found.size(), "thing") +
                                                      (found.size() == 1 ? " is strange:" : " are strange:"));
    for (const plausibility_finding &f : found)
        all += fmt::format("  {:<12}{}\n", f.weight == severity::error ? "  error" : "  warning", f.text);
    for (const std::string &sensor : origin_.taken)
        all += fmt::format("    taken     {}\n", sensor);
    for (const std::string &decision : origin_.decisions)
        all += fmt::format("    decided   {}\n", decision);
    return all;
}

void plausibility::refuse_findings(const std::string &input) const
{
    const list found = findings();
    if (found.empty())
        return;
    std::string all = fmt::format("{}: refused by --strict: {}", input, found.front().text);
    for (std::size_t k = 1; k < found.size(); ++k)
        all += fmt::format("\nqv6d: {}: {}", input, found[k].text);
    throw error(EXIT_MALFORMED, all);
}

} // namespace qv6d
