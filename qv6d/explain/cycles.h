// The calibration's cycles, read from the library's own debug lines: what went in, what came out, and why.
#pragma once

#include "library/log_entry.h"
#include "qv6dalgo.h"

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace qv6d
{

using vec3 = std::array<double, 3>;

// What became of the sample buffer in a cycle.
enum class buffer_outcome
{
    filling,        // not full yet
    disabled,       // the calibration is switched off
    not_moved,      // full, but the device has not been seen moving
    span_too_small, // an axis spans too little
    unbalanced,     // no two spans are alike
    unknown,        // not READY, and the log does not say why
    discarded,      // READY, one of the first after a reset
    not_fitted,     // READY, but too few samples far enough apart, or no batch solution
    unstable,       // fitted, the estimate has not settled
    too_large,      // fitted, the radius is beyond the earth's field
    accepted,       // fitted and accepted, more READY buffers are needed to validate it
    validated,      // fitted, accepted and published
    noise,          // an axis spans too much
};
inline constexpr std::size_t BUFFER_OUTCOMES = static_cast<std::size_t>(buffer_outcome::noise) + 1;

// What started the calibration over in a cycle.
enum class reset_cause
{
    none,
    scatter,      // the samples of the buffer scatter too much
    span,         // a full buffer spans too much
    grade,        // the calibrated field no longer fits the radius
    clear_radius, // the one check after initialisation
};
inline constexpr std::size_t RESET_CAUSES = static_cast<std::size_t>(reset_cause::clear_radius) + 1;

// A machine's name and a person's words for each.
const char *name(buffer_outcome outcome);
const char *words(buffer_outcome outcome);
const char *name(reset_cause cause);
const char *words(reset_cause cause);

struct fit_figures
{
    std::optional<int> samples;                   // that the fit took
    std::optional<double> scatter, scatter_limit; // microtesla, of the last results
    std::optional<double> band, band_limit;       // microtesla, likewise
    std::optional<vec3> offset;                   // microtesla, estimate
    std::optional<double> radius;                 // microtesla, estimate
};

struct span_figures
{
    vec3 span;        // microtesla per axis
    double min, max;  // microtesla, limits
    vec3 ratio;       // y/z, x/z, x/y
    double low, high; // limits
};

// One magnetometer sample's way through the calibration. Fields are microtesla.
struct cycle
{
    std::uint64_t number = 0; // from 0, over all starts of the library
    double time = 0.0;        // as given to the reader with the sample
    vec3 field = {};          // soft iron removed
    vec3 offset = {};
    double radius = 0.0;
    vec3 calibrated = {};
    double norm = 0.0;           // of the calibrated field
    std::size_t buffer_size = 0; // samples of a full buffer
    int grade = QV6D_GRADE_UNRELIABLE, readycnt = 0, movement = 0, result = 0;
    buffer_outcome outcome = buffer_outcome::filling;
    reset_cause reset = reset_cause::none;
    vec3 scatter = {};                 // standard deviation of the buffer per axis
    std::optional<double> scatter_min; // below which an axis counts as still; known when scatter is
    std::optional<span_figures> spans; // of a full buffer after movement
    fit_figures fit;                   // of a READY buffer
    std::optional<double> distance;    // averaged norm to radius, as graded
    std::optional<vec3> orientation;   // azimuth, pitch, roll, degrees
};

class cycle_reader
{
public:
    explicit cycle_reader(std::function<void(const cycle &)> emit) : emit_(std::move(emit))
    {
    }

    // `time` is that of the sample that the line belongs to, where known. False when the line is none of the library's
    // or was cut.
    bool take(const log_entry &line, double time);

    // Hands out the last cycle.
    void finish();

    // Cycles read.
    std::uint64_t cycles() const
    {
        return next_;
    }

    // Library starts seen.
    std::uint64_t starts() const
    {
        return starts_;
    }

private:
    bool take_motion(const log_entry &line);
    bool take_estimate(const log_entry &line);
    bool take_batch_fit(const log_entry &line);
    bool take_recursive_fit(const log_entry &line);
    bool take_stability(const log_entry &line);
    bool take_update(const log_entry &line, double time);
    bool take_grading(const log_entry &line);
    void begin_cycle();
    buffer_outcome outcome() const;

    std::function<void(const cycle &)> emit_;
    cycle current_, done_;
    bool begun_ = false;     // current_ holds something
    bool have_done_ = false; // done_ waits for its orientation
    bool still_ = false, narrow_ = false, unbalanced_ = false, discarded_ = false, ready_ = false, unknown_ = false;
    bool classified_ = false, stable_ = false;
    int resets_ = 0;
    // As the library's start displays them; its defaults until then.
    int wanted_ = 2; // READY buffers before an offset is validated
    int buffer_size_ = 25;
    int raw_grade_ = QV6D_GRADE_UNRELIABLE;
    std::uint64_t next_ = 0, starts_ = 0;
};

} // namespace qv6d
