#include "explain/cycles.h"

#include "library/configuration.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace qv6d
{

namespace
{

struct naming
{
    const char *name;
    const char *words;
};

constexpr naming OUTCOMES[BUFFER_OUTCOMES] = {
    {"filling", "buffer filling"},
    {"disabled", "calibration switched off"},
    {"not_moved", "full, but the device was not seen moving"},
    {"span_too_small", "full, but an axis spans too little"},
    {"unbalanced", "full, but no two spans are alike"},
    {"unknown", "full, but not READY"},
    {"discarded", "READY, discarded as one of the first after a start or a reset"},
    {"not_fitted", "READY, but too few samples far enough apart"},
    {"unstable", "READY, fit refused: the estimate has not settled"},
    {"too_large", "READY, fit refused: radius above 70 µT"},
    {"accepted", "READY, fit accepted, not validated yet"},
    {"validated", "READY, fit accepted and validated"},
    {"noise", "full, but an axis spans too much"},
};

constexpr naming RESETS[RESET_CAUSES] = {
    {"none", "no reset"},
    {"scatter", "reset: the field scatters too much"},
    {"span", "reset: the field spans too much"},
    {"grade", "reset: the calibrated field no longer fits the radius"},
    {"clear_radius", "reset: the first calibration missed the clear radius"},
};

bool starts_with(std::string_view text, std::string_view start)
{
    return text.substr(0, start.size()) == start;
}

// sscanf over a line that need not end with a terminator; true when every conversion was made and all was read.
template <typename... Targets>
bool scan(std::string_view text, const char *format, Targets *...targets)
{
    char line[512];
    if (text.size() >= sizeof line)
        return false;
    std::memcpy(line, text.data(), text.size());
    line[text.size()] = '\0';
    int end = -1;
    // cppcheck-suppress invalidScanfArgType_float ; it takes a pack of arguments for one
    return std::sscanf(line, format, targets..., &end) == static_cast<int>(sizeof...(targets)) &&
           end == static_cast<int>(text.size());
}

} // namespace

const char *name(buffer_outcome outcome)
{
    return OUTCOMES[static_cast<std::size_t>(outcome)].name;
}

const char *words(buffer_outcome outcome)
{
    return OUTCOMES[static_cast<std::size_t>(outcome)].words;
}

const char *name(reset_cause cause)
{
    return RESETS[static_cast<std::size_t>(cause)].name;
}

const char *words(reset_cause cause)
{
    return RESETS[static_cast<std::size_t>(cause)].words;
}

bool cycle_reader::take(std::string_view line, double time)
{
    const std::size_t close = line.find("]  ");
    if (line.empty() || line.front() != '[' || close == std::string_view::npos || close < 22)
        return false;
    std::string_view operation = line.substr(1, close - 1);
    operation = operation.substr(0, operation.find_first_of(" -"));
    const std::string_view text = line.substr(close + 3);

    if (operation == "qvhcal_update")
        return take_update(text, time);
    if (operation == "qvmotion_get_movement" || operation == "qvmotion_get_result")
        return take_motion(text);
    if (operation == "estimate_offset" || operation == "update_stabled_status")
        return take_estimate(text);
    if (operation == "update_accuracy")
        return take_grading(text);
    if (operation == "qvhcal_clear")
    {
        begin_cycle();
        ++resets_;
    }
    else if (operation == "qvhcal_disp_cfg" && starts_with(text, "-readycnt"))
        return scan(text, "-readycnt : %d%n", &wanted_);
    else if (operation == "qvhcal_disp_cfg" && starts_with(text, "-rbufsize"))
        return scan(text, "-rbufsize : %d%n", &buffer_size_);
    else if (operation == "qvalgo_disp_version" && starts_with(text, "QV Algorithm Ver"))
        ++starts_;
    else if (operation == "qvalgo_update_fusion" && starts_with(text, "ALGO_ORNT"))
    {
        vec3 o;
        if (!scan(text, "ALGO_ORNT : %lf %lf %lf%n", &o[0], &o[1], &o[2]))
            return false;
        done_.orientation = o;
    }
    return true;
}

// The first line of a cycle hands out the one before, which by then has its orientation.
void cycle_reader::begin_cycle()
{
    if (begun_)
        return;
    if (have_done_)
        emit_(done_);
    have_done_ = false;
    begun_ = true;
    current_ = {};
    still_ = narrow_ = unbalanced_ = discarded_ = ready_ = unknown_ = classified_ = stable_ = false;
    resets_ = 0;
    raw_grade_ = QV6D_GRADE_UNRELIABLE;
}

void cycle_reader::finish()
{
    if (have_done_)
        emit_(done_);
    have_done_ = false;
}

bool cycle_reader::take_motion(std::string_view text)
{
    begin_cycle();
    if (starts_with(text, "stdev = "))
    {
        double min, max;
        vec3 &s = current_.scatter;
        if (!scan(text, "stdev = %lf %lf %lf (@ %lf~%lf)%n", &s[0], &s[1], &s[2], &min, &max))
            return false;
        current_.scatter_min = min;
        return true;
    }
    if (starts_with(text, "sensitivity_DIFF("))
    {
        span_figures &f = current_.spans.emplace();
        return scan(text, "sensitivity_DIFF(%lf %lf %lf [@ %lf~%lf])%n", &f.span[0], &f.span[1], &f.span[2], &f.min,
                    &f.max);
    }
    if (starts_with(text, "sensitivity_RATE(") && current_.spans)
    {
        span_figures &f = *current_.spans;
        return scan(text, "sensitivity_RATE(%lf %lf %lf [@ %lf~%lf])%n", &f.ratio[0], &f.ratio[1], &f.ratio[2], &f.low,
                    &f.high);
    }
    still_ = still_ || text == "QVMOTION motion_movement_pending = 0";
    narrow_ = narrow_ || text == "sensitivity_DIFF__min [X]";
    unbalanced_ = unbalanced_ || text == "sensitivity_RATE [X]";
    return true;
}

bool cycle_reader::take_estimate(std::string_view text)
{
    begin_cycle();
    if (starts_with(text, "EST_LSM_OUT"))
        return take_batch_fit(text);
    if (starts_with(text, "EST_RLSM_OUT"))
        return take_recursive_fit(text);
    return !starts_with(text, "RLSM_STABLED[") || take_stability(text);
}

bool cycle_reader::take_batch_fit(std::string_view text)
{
    vec3 batch, reference;
    int samples;
    if (!scan(text, "EST_LSM_OUT offset(%lf,%lf,%lf) refoffset(%lf,%lf,%lf) golden_cnt=%d%n", &batch[0], &batch[1],
              &batch[2], &reference[0], &reference[1], &reference[2], &samples))
        return false;
    current_.fit.samples = samples;
    return true;
}

bool cycle_reader::take_recursive_fit(std::string_view text)
{
    vec3 offset;
    double radius;
    int stable;
    if (!scan(text, "EST_RLSM_OUT : offset(%lf %lf %lf) radius(%lf) stable(%d)%n", &offset[0], &offset[1], &offset[2],
              &radius, &stable))
        return false;
    current_.fit.offset = offset;
    current_.fit.radius = radius;
    stable_ = stable != 0;
    return true;
}

bool cycle_reader::take_stability(std::string_view text)
{
    char letter;
    double scatter, scatter_limit, band, band_limit;
    if (!scan(text, "RLSM_STABLED[%c] max_stdev(%lf<%lf) max_df(%lf<%lf)%n", &letter, &scatter, &scatter_limit, &band,
              &band_limit))
        return false;
    current_.fit.scatter = scatter;
    current_.fit.scatter_limit = scatter_limit;
    current_.fit.band = band;
    current_.fit.band_limit = band_limit;
    return true;
}

bool cycle_reader::take_grading(std::string_view text)
{
    begin_cycle();
    double norm, filtered, radius, distance, angle, limit;
    int grade, checked;
    if (!scan(text, "update_accuracy (%lf:%lf)-(%lf)=%lf  %d(%d) %lf(<%lf) %d%n", &norm, &filtered, &radius, &distance,
              &grade, &raw_grade_, &angle, &limit, &checked))
        return false;
    current_.distance = distance;
    return true;
}

bool cycle_reader::take_update(std::string_view text, double time)
{
    if (starts_with(text, "----"))
        return true;
    begin_cycle();
    if (!starts_with(text, "hcal_out"))
    {
        classified_ = classified_ || starts_with(text, "QVMOTION_MOVEMENT__");
        ready_ = ready_ || text == "QVMOTION_RESULT__READY";
        discarded_ = discarded_ || text == "QVMOTION_RESULT__READY->UNKNOWN(DUMMY)";
        unknown_ = unknown_ || text == "QVMOTION_RESULT__UNKNOWN";
        if (text == "QVMOTION_MOVEMENT__NOISE1")
            current_.reset = reset_cause::scatter;
        else if (text == "QVMOTION_RESULT__NOISE2")
            current_.reset = reset_cause::span;
        return true;
    }

    cycle &c = current_;
    begun_ = false;
    if (!scan(text, "hcal_out %lf %lf %lf, %lf %lf %lf %lf, %lf %lf %lf %lf, %d, %d, %d %d%n", &c.field[0], &c.field[1],
              &c.field[2], &c.offset[0], &c.offset[1], &c.offset[2], &c.radius, &c.calibrated[0], &c.calibrated[1],
              &c.calibrated[2], &c.norm, &c.grade, &c.readycnt, &c.movement, &c.result))
        return false;
    // A reset without noise is the grading's: by the lowest raw grade, else by the clear radius.
    if (resets_ > 0 && c.reset == reset_cause::none)
        c.reset = raw_grade_ == QV6D_GRADE_UNRELIABLE ? reset_cause::grade : reset_cause::clear_radius;
    c.outcome = outcome();
    c.number = next_++;
    c.buffer_size = static_cast<std::size_t>(std::max(0, buffer_size_));
    c.time = time;
    done_ = current_;
    have_done_ = true;
    return true;
}

buffer_outcome cycle_reader::outcome() const
{
    const fit_figures &fit = current_.fit;
    if (current_.reset == reset_cause::span)
        return buffer_outcome::noise;
    if (discarded_)
        return buffer_outcome::discarded;
    if (unknown_)
        return narrow_       ? buffer_outcome::span_too_small
               : unbalanced_ ? buffer_outcome::unbalanced
               : still_      ? buffer_outcome::not_moved
                             : buffer_outcome::unknown;
    if (!ready_)
        return classified_ ? buffer_outcome::filling : buffer_outcome::disabled;
    if (!fit.radius)
        return buffer_outcome::not_fitted;
    if (!stable_)
        return buffer_outcome::unstable;
    if (*fit.radius > FIT_RADIUS_MAX)
        return buffer_outcome::too_large;
    // Grading throws away validated offsets only, and its reset has set the count back by the time it is logged.
    const bool validated = current_.readycnt >= wanted_ || current_.reset != reset_cause::none;
    return validated ? buffer_outcome::validated : buffer_outcome::accepted;
}

} // namespace qv6d
