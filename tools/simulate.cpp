#include "simulate.h"

#include "motion_model.h"
#include "output.h"
#include "recording.h"
#include "service.h"

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
    return (field / MICROTESLA_PER_COUNT).array().round();
}

} // namespace

void simulate(const simulate_options &options)
{
    refuse_overlap({}, {options.output, options.truth});
    output events(options.output);
    std::optional<output> truth;
    if (!options.truth.empty())
        truth.emplace(options.truth);

    const Vector3d up(0.0, 0.0, GRAVITY);
    const Quaterniond heading(AngleAxisd(-radians(options.heading), Vector3d::UnitZ()));
    const double rests = options.rest_after.value_or(std::numeric_limits<double>::infinity());
    const Matrix3d soft_iron = Eigen::Map<const Eigen::Matrix<double, 3, 3, Eigen::RowMajor>>(options.soft_iron.data());

    random_source random(options.seed);
    motion_model device(options.how, &random, options.amplitude);
    events.print("{}\n", EVENT_HEADER);
    if (truth)
        truth->print("t_ns,qw,qx,qy,qz\n");

    const std::int64_t count = std::llround(options.duration * options.rate);
    Quaterniond before = heading * device.attitude(0.0);
    for (std::int64_t i = 0; i < count; ++i)
    {
        const double t = static_cast<double>(i) / options.rate;
        const auto t_ns = static_cast<std::int64_t>(std::llround(t * 1e9));
        const Quaterniond q = heading * device.attitude(std::min(t, rests)), to_device = q.conjugate();
        const Vector3d force = t < rests ? Vector3d(up + device.acceleration(t)) : up;
        const Vector3d rate = turn_rate(before, q, 1.0 / options.rate);
        const Vector3d raw = soft_iron * (to_device * field_around(options, t)) + hard_iron(options, t);
        before = q;

        print_event(&events, t_ns, "acc", to_device * force + random.normal_vector(ACC_NOISE));
        print_event(&events, t_ns, "gyr", rate + random.normal_vector(GYR_NOISE));
        const Vector3d measured = raw + random.normal_vector(options.noise);
        print_event(&events, t_ns, "mag", options.counts ? whole_counts(measured) : measured);
        if (truth)
            truth->print("{},{:.6f},{:.6f},{:.6f},{:.6f}\n", t_ns, q.w(), q.x(), q.y(), q.z());
    }
    events.finish();
    if (truth)
        truth->finish();
}

} // namespace qv6d
