#include "explain/cycles.h"

#include "library/configuration.h"

#include <algorithm>

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

bool cycle_reader::take(const log_entry &line, double time)
{
    if (!line.known())
        return false;
    const std::string_view operation = line.operation();
    if (operation == "qvhcal_update")
        return take_update(line, time);
    if (operation == "qvmotion_get_movement" || operation == "qvmotion_get_result")
        return take_motion(line);
    if (operation == "estimate_offset" || operation == "update_stabled_status")
        return take_estimate(line);
    if (operation == "update_accuracy")
        return take_grading(line);
    if (operation == "qvhcal_clear")
    {
        begin_cycle();
        ++resets_;
    }
    else if (operation == "qvhcal_disp_cfg" && line.begins("-readycnt"))
        return line.read("-readycnt : %d", &wanted_);
    else if (operation == "qvhcal_disp_cfg" && line.begins("-rbufsize"))
        return line.read("-rbufsize : %d", &buffer_size_);
    else if (operation == "qvalgo_disp_version" && line.begins("QV Algorithm Ver"))
        ++starts_;
    else if (operation == "qvalgo_update_fusion" && line.begins("ALGO_ORNT"))
    {
        vec3 o;
        if (!line.read("ALGO_ORNT : %f %f %f", &o[0], &o[1], &o[2]))
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

bool cycle_reader::take_motion(const log_entry &line)
{
    begin_cycle();
    if (line.begins("stdev = "))
    {
        double min, max;
        vec3 &s = current_.scatter;
        if (!line.read("stdev = %f %f %f (@ %f~%f)", &s[0], &s[1], &s[2], &min, &max))
            return false;
        current_.scatter_min = min;
        return true;
    }
    if (line.begins("sensitivity_DIFF("))
    {
        span_figures &f = current_.spans.emplace();
        return line.read("sensitivity_DIFF(%f %f %f [@ %f~%f])", &f.span[0], &f.span[1], &f.span[2], &f.min, &f.max);
    }
    if (line.begins("sensitivity_RATE(") && current_.spans)
    {
        span_figures &f = *current_.spans;
        return line.read("sensitivity_RATE(%f %f %f [@ %f~%f])", &f.ratio[0], &f.ratio[1], &f.ratio[2], &f.low,
                         &f.high);
    }
    still_ = still_ || line.is("QVMOTION motion_movement_pending = 0");
    narrow_ = narrow_ || line.is("sensitivity_DIFF__min [X]");
    unbalanced_ = unbalanced_ || line.is("sensitivity_RATE [X]");
    return true;
}

bool cycle_reader::take_estimate(const log_entry &line)
{
    begin_cycle();
    if (line.begins("EST_LSM_OUT"))
        return take_batch_fit(line);
    if (line.begins("EST_RLSM_OUT"))
        return take_recursive_fit(line);
    return !line.begins("RLSM_STABLED[") || take_stability(line);
}

bool cycle_reader::take_batch_fit(const log_entry &line)
{
    vec3 batch, reference;
    int samples;
    if (!line.read("EST_LSM_OUT offset(%f,%f,%f) refoffset(%f,%f,%f) golden_cnt=%d", &batch[0], &batch[1], &batch[2],
                   &reference[0], &reference[1], &reference[2], &samples))
        return false;
    current_.fit.samples = samples;
    return true;
}

bool cycle_reader::take_recursive_fit(const log_entry &line)
{
    vec3 offset;
    double radius;
    int stable;
    if (!line.read("EST_RLSM_OUT : offset(%f %f %f) radius(%f) stable(%d)", &offset[0], &offset[1], &offset[2], &radius,
                   &stable))
        return false;
    current_.fit.offset = offset;
    current_.fit.radius = radius;
    stable_ = stable != 0;
    return true;
}

bool cycle_reader::take_stability(const log_entry &line)
{
    char letter;
    double scatter, scatter_limit, band, band_limit;
    if (!line.read("RLSM_STABLED[%c] max_stdev(%f<%f) max_df(%f<%f)", &letter, &scatter, &scatter_limit, &band,
                   &band_limit))
        return false;
    current_.fit.scatter = scatter;
    current_.fit.scatter_limit = scatter_limit;
    current_.fit.band = band;
    current_.fit.band_limit = band_limit;
    return true;
}

bool cycle_reader::take_grading(const log_entry &line)
{
    begin_cycle();
    double norm, filtered, radius, distance, angle, limit;
    int grade, checked;
    if (!line.read("update_accuracy (%f:%f)-(%f)=%f  %d(%d) %f(<%f) %d", &norm, &filtered, &radius, &distance, &grade,
                   &raw_grade_, &angle, &limit, &checked))
        return false;
    current_.distance = distance;
    return true;
}

bool cycle_reader::take_update(const log_entry &line, double time)
{
    if (line.begins("----"))
        return true;
    begin_cycle();
    if (!line.begins("hcal_out"))
    {
        classified_ = classified_ || line.begins("QVMOTION_MOVEMENT__");
        ready_ = ready_ || line.is("QVMOTION_RESULT__READY");
        discarded_ = discarded_ || line.is("QVMOTION_RESULT__READY->UNKNOWN(DUMMY)");
        unknown_ = unknown_ || line.is("QVMOTION_RESULT__UNKNOWN");
        if (line.is("QVMOTION_MOVEMENT__NOISE1"))
            current_.reset = reset_cause::scatter;
        else if (line.is("QVMOTION_RESULT__NOISE2"))
            current_.reset = reset_cause::span;
        return true;
    }

    cycle &c = current_;
    begun_ = false;
    if (!line.read("hcal_out %f %f %f, %f %f %f %f, %f %f %f %f, %d, %d, %d %d", &c.field[0], &c.field[1], &c.field[2],
                   &c.offset[0], &c.offset[1], &c.offset[2], &c.radius, &c.calibrated[0], &c.calibrated[1],
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
