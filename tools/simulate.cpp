#include "simulate.h"

#include "motion_model.h"
#include "output.h"
#include "recording.h"

#include <cmath>
#include <numbers>
#include <optional>

namespace qv6d
{

namespace
{

using Eigen::Matrix3d;
using Eigen::Quaterniond;
using Eigen::Vector3d;

void print_event(output *out, std::int64_t t_ns, const char *sensor, const Vector3d &v)
{
    out->print("{},{},{:.5f},{:.5f},{:.5f}\n", t_ns, sensor, v.x(), v.y(), v.z());
}

} // namespace

void simulate(const simulate_options &options)
{
    refuse_overlap({}, {options.output, options.truth});
    output events(options.output);
    std::optional<output> truth;
    if (!options.truth.empty())
        truth.emplace(options.truth);

    const double dip = options.dip * std::numbers::pi / 180.0;
    const Vector3d up(0.0, 0.0, GRAVITY), field(0.0, options.field * std::cos(dip), -options.field * std::sin(dip));
    const Vector3d hard_iron(options.offset.data());
    const Matrix3d soft_iron = Eigen::Map<const Eigen::Matrix<double, 3, 3, Eigen::RowMajor>>(options.soft_iron.data());

    random_source random(options.seed);
    motion_model device(options.how, &random);
    events.print("{}\n", EVENT_HEADER);
    if (truth)
        truth->print("t_ns,qw,qx,qy,qz\n");

    const std::int64_t count = std::llround(options.duration * options.rate);
    Quaterniond before = device.attitude(0.0);
    for (std::int64_t i = 0; i < count; ++i)
    {
        const double t = static_cast<double>(i) / options.rate;
        const auto t_ns = static_cast<std::int64_t>(std::llround(t * 1e9));
        const Quaterniond q = device.attitude(t), to_device = q.conjugate();
        const Vector3d rate = turn_rate(before, q, 1.0 / options.rate);
        const Vector3d raw = soft_iron * (to_device * field) + hard_iron;
        before = q;

        print_event(&events, t_ns, "acc", to_device * (up + device.acceleration(t)) + random.normal_vector(ACC_NOISE));
        print_event(&events, t_ns, "gyr", rate + random.normal_vector(GYR_NOISE));
        print_event(&events, t_ns, "mag", raw + random.normal_vector(options.noise));
        if (truth)
            truth->print("{},{:.6f},{:.6f},{:.6f},{:.6f}\n", t_ns, q.w(), q.x(), q.y(), q.z());
    }
    events.finish();
    if (truth)
        truth->finish();
}

} // namespace qv6d
