#include "simulation/simulate.h"

#include "common/output.h"
#include "qv6dalgo.h"
#include "recordings/recording.h"
#include "simulation/motion_model.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <optional>

namespace qv6d
{

namespace
{

using Eigen::AngleAxisd;
using Eigen::Matrix3d;
using Eigen::Quaterniond;
using Eigen::Vector3d;

void print_event(output *out, std::int64_t t_ns, const char *sensor, const Vector3d &v)
{
    out->print("{},{},{:.5f},{:.5f},{:.5f}\n", t_ns, sensor, v.x(), v.y(), v.z());
}

double radians(double degrees)
{
    return degrees * std::numbers::pi / 180.0;
}

Vector3d hard_iron(const simulate_options &options, double t)
{
    Vector3d sum(options.offset.data());
    for (const offset_step &step : options.steps)
        if (t >= step.at)
            sum += Vector3d(step.by.data());
    return sum;
}

// East, north, up.
Vector3d field_around(const simulate_options &options, double t)
{
    const double dip = radians(options.dip);
    Vector3d sum(0.0, options.field * std::cos(dip), -options.field * std::sin(dip));
    for (const passing_field &thing : options.passing)
    {
        const double nearness = std::sin(std::numbers::pi * std::clamp((t - thing.from) / thing.length, 0.0, 1.0));
        sum += Vector3d(thing.peak.data()) * (nearness * nearness);
    }
    return sum;
}

Vector3d whole_counts(const Vector3d &field)
{
    return (field / QV6D_MICROTESLA_PER_COUNT).array().round();
}

// What the device and its surroundings are at one instant.
struct instant
{
    double t; // s
    std::int64_t t_ns;
    Quaterniond attitude; // to east, north, up
    Vector3d force;       // m/s², east, north, up
};

// The device turns and rests as the options say. Instants are asked for in the order of time.
class simulated_device
{
public:
    simulated_device(const simulate_options &options, random_source *random)
        : options_(options), model_(options.how, random, options.amplitude),
          heading_(AngleAxisd(-radians(options.heading), Vector3d::UnitZ())),
          rests_(options.rest_after.value_or(std::numeric_limits<double>::infinity()))
    {
    }

    instant at(std::int64_t sample)
    {
        const double t = static_cast<double>(sample) / options_.rate;
        const Vector3d up(0.0, 0.0, GRAVITY);
        return {t, std::llround(t * 1e9), heading_ * model_.attitude(std::min(t, rests_)),
                t < rests_ ? Vector3d(up + model_.acceleration(t)) : up};
    }

private:
    const simulate_options &options_;
    motion_model model_;
    const Quaterniond heading_;
    const double rests_; // s
};

Vector3d raw_field(const simulate_options &options, const instant &now)
{
    const Matrix3d soft_iron = Eigen::Map<const Eigen::Matrix<double, 3, 3, Eigen::RowMajor>>(options.soft_iron.data());
    return soft_iron * (now.attitude.conjugate() * field_around(options, now.t)) + hard_iron(options, now.t);
}

// One event of each sensor. The order in which the noise is drawn belongs to the recording.
void print_events(output *out, const simulate_options &options, const instant &now, const Vector3d &rate,
                  random_source *random)
{
    const Vector3d force = now.attitude.conjugate() * now.force;
    print_event(out, now.t_ns, "acc", force + random->normal_vector(ACC_NOISE));
    print_event(out, now.t_ns, "gyr", rate + random->normal_vector(GYR_NOISE));
    const Vector3d field = raw_field(options, now) + random->normal_vector(options.noise);
    print_event(out, now.t_ns, "mag", options.counts ? whole_counts(field) : field);
}

void print_truth(output *out, const instant &now)
{
    const Quaterniond &q = now.attitude;
    out->print("{},{:.6f},{:.6f},{:.6f},{:.6f}\n", now.t_ns, q.w(), q.x(), q.y(), q.z());
}

} // namespace

void simulate(const simulate_options &options)
{
    refuse_overlap({}, {options.output, options.truth});
    output events(options.output);
    std::optional<output> truth;
    if (!options.truth.empty())
        truth.emplace(options.truth);
    events.print("{}\n", EVENT_HEADER);
    if (truth)
        truth->print("t_ns,qw,qx,qy,qz\n");

    random_source random(options.seed);
    simulated_device device(options, &random);
    Quaterniond before = device.at(0).attitude;
    const std::int64_t count = std::llround(options.duration * options.rate);
    for (std::int64_t i = 0; i < count; ++i)
    {
        const instant now = device.at(i);
        print_events(&events, options, now, turn_rate(before, now.attitude, 1.0 / options.rate), &random);
        if (truth)
            print_truth(&*truth, now);
        before = now.attitude;
    }
    output::finish_all({&events, truth ? &*truth : nullptr});
}

} // namespace qv6d
