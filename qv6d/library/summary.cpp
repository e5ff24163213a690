#include "library/summary.h"

#include "common/json_document.h"

#include <cmath>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace qv6d
{

namespace
{

const char *words(start_kind started)
{
    switch (started)
    {
    case start_kind::resumed:
        return "resumed from the stored calibration";
    case start_kind::config_changed:
        return "fresh: the stored calibration was learnt under another configuration";
    case start_kind::data_unreadable:
        return "fresh: the stored calibration is missing or damaged";
    case start_kind::fresh:
        break;
    }
    return "fresh";
}

const char *word(start_kind started)
{
    switch (started)
    {
    case start_kind::resumed:
        return "resumed";
    case start_kind::config_changed:
        return "config_changed";
    case start_kind::data_unreadable:
        return "data_unreadable";
    case start_kind::fresh:
        break;
    }
    return "fresh";
}

const char *reservation(offset_state state)
{
    switch (state)
    {
    case offset_state::unvalidated:
        return "; never validated: it may be far off";
    case offset_state::discarded:
        return "; thrown away by a reset, and still published";
    default:
        return "";
    }
}

double norm(const std::array<double, 3> &v)
{
    return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
}

double distance(const float offset[3], const std::array<double, 3> &truth)
{
    return norm({offset[0] - truth[0], offset[1] - truth[1], offset[2] - truth[2]});
}

nlohmann::ordered_json spread_of(const running_stats &stats)
{
    if (stats.empty())
        return nullptr;
    return {{"mean", stats.mean()}, {"stdev", stats.stdev()}};
}

} // namespace

void summary::count(const event &e)
{
    if (e.kind == sensor::bias)
    {
        platform_bias_ = {e.x, e.y, e.z};
        return;
    }
    if (events_[0] + events_[1] + events_[2] == 0)
        first_t_ns_ = e.t_ns;
    last_t_ns_ = e.t_ns;
    ++events_[static_cast<std::size_t>(e.kind)];
}

double summary::seconds(std::int64_t t_ns) const
{
    const std::uint64_t past = static_cast<std::uint64_t>(t_ns) - static_cast<std::uint64_t>(first_t_ns_);
    return static_cast<double>(past) / 1e9;
}

void summary::add(const event &e, const sample_result &result, std::uint64_t resets)
{
    ++used_;
    last_ = result;
    calibration_.add(sample_of(result, seconds(result.t_ns), resets));
    const double calibrated = norm({result.calibrated[0], result.calibrated[1], result.calibrated[2]});
    raw_norm_.add(norm({e.x * scale_, e.y * scale_, e.z * scale_}));
    if (calibration_.offset() != offset_state::none) // before that, the field calibrated with nothing
        calibrated_norm_.add(calibrated);
    if (result.grade > QV6D_GRADE_UNRELIABLE)
        graded_norm_.add(calibrated);
}

void summary::finish(const log_watch &log)
{
    resets_ = log.resets();
    started_ = log.started();
    wall_seconds_ = std::chrono::duration<double>(std::chrono::steady_clock::now() - began_).count();
}

std::string summary::offset_text(const std::optional<std::array<double, 3>> &true_offset) const
{
    const offset_state state = calibration_.offset();
    const auto xyz = [](const auto &v) { return fmt::format("{:.2f}, {:.2f}, {:.2f} µT", v[0], v[1], v[2]); };
    std::string out = "  offset      none was published\n";
    if (state != offset_state::none)
        out =
            fmt::format("  offset      {}, radius {:.1f} µT{}\n", xyz(last_.offset), last_.radius, reservation(state));
    if (true_offset)
        out += fmt::format("  true offset {}{}\n", xyz(*true_offset),
                           state == offset_state::none
                               ? ""
                               : fmt::format(", missed by {:.2f} µT", distance(last_.offset, *true_offset)));
    return out;
}

std::string summary::text(const std::string &recording, const std::optional<std::array<double, 3>> &true_offset) const
{
    const auto total = events_[0] + events_[1] + events_[2];
    const auto first = [this](int grade)
    {
        const std::optional<double> &shown = calibration_.first(grade);
        return shown ? fmt::format("{} at {:.1f} s", grade, *shown) : fmt::format("{} never", grade);
    };
    const auto field = [](const running_stats &s) { return fmt::format("{:8.2f} ± {:.2f} µT", s.mean(), s.stdev()); };

    std::string out = fmt::format("{}\n", recording);
    out += fmt::format("  events      {} in {:.1f} s: {} acc, {} gyr, {} mag, {} of them used\n", total,
                       seconds(last_t_ns_), events_[0], events_[1], events_[2], used_);
    out += fmt::format("  start       {}\n", words(started_));
    out += fmt::format("  grade       last {}; first shown: {}, {}, {}\n", last_.grade, first(QV6D_GRADE_LOW),
                       first(QV6D_GRADE_MEDIUM), first(QV6D_GRADE_BEST));
    out += fmt::format("  resets      {}\n", resets_);
    out += offset_text(true_offset);
    if (platform_bias_)
        out += fmt::format("  platform    {:.2f}, {:.2f}, {:.2f} µT is the phone's own offset{}\n",
                           (*platform_bias_)[0], (*platform_bias_)[1], (*platform_bias_)[2],
                           last_.radius == 0.0 ? "; none was learnt to compare it with"
                                               : fmt::format(", {:.2f} µT from the one learnt",
                                                             distance(last_.offset, *platform_bias_)));
    out += fmt::format("  field norm  raw                {}\n", field(raw_norm_));
    if (!calibrated_norm_.empty())
        out += fmt::format("              calibrated         {}\n", field(calibrated_norm_));
    if (!graded_norm_.empty())
        out += fmt::format("              while grade above 0{}\n", field(graded_norm_));
    out += fmt::format("  speed       {:.0f} events/s\n", static_cast<double>(total) / wall_seconds_);
    return out;
}

nlohmann::ordered_json summary::json(const std::optional<std::array<double, 3>> &true_offset) const
{
    const bool published = calibration_.offset() != offset_state::none;
    nlohmann::ordered_json out = {
        {"calibration", calibration_.json()},
        {"start", word(started_)},
        {"events", {{"acc", events_[0]}, {"gyr", events_[1]}, {"mag", events_[2]}, {"mag_used", used_}}},
        {"duration_s", seconds(last_t_ns_)},
        {"raw_norm_ut", spread_of(raw_norm_)},
        {"calibrated_norm_ut", spread_of(calibrated_norm_)},
        {"graded_norm_ut", spread_of(graded_norm_)},
        {"events_per_s", static_cast<double>(events_[0] + events_[1] + events_[2]) / wall_seconds_},
    };
    if (platform_bias_)
    {
        out["platform_offset_ut"] = *platform_bias_;
        if (last_.radius != 0.0)
            out["offset_to_platform_ut"] = distance(last_.offset, *platform_bias_);
    }
    if (true_offset)
        out["offset_error_ut"] =
            json_of(published ? std::optional(distance(last_.offset, *true_offset)) : std::nullopt);
    return out;
}

} // namespace qv6d
