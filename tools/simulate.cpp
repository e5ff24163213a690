#include "simulate.h"

#include "output.h"
#include "recording.h"

#include <Eigen/Geometry>
#include <cmath>
#include <numbers>
#include <optional>
#include <random>

namespace qv6d
{

namespace
{

using Eigen::AngleAxisd;
using Eigen::Matrix3d;
using Eigen::Quaterniond;
using Eigen::Vector3d;

constexpr double TURN = 2.0 * std::numbers::pi; // radians
constexpr double GRAVITY = 9.81;                // m/s²
constexpr double ACC_NOISE = 0.02;              // m/s², standard deviation per axis
constexpr double GYR_NOISE = 0.002;             // rad/s, standard deviation per axis

// The same numbers on every platform, which std::normal_distribution does not promise.
class random_source
{
public:
    explicit random_source(std::uint64_t seed) : bits_(seed)
    {
    }

    // [0, 1).
    double uniform()
    {
        return static_cast<double>(bits_() >> 11) * 0x1p-53;
    }

    // Sum of twelve uniform numbers: mean 0, standard deviation 1, nothing beyond 6.
    double normal()
    {
        double sum = -6.0;
        for (int i = 0; i < 12; ++i)
            sum += uniform();
        return sum;
    }

    Vector3d normal_vector(double deviation)
    {
        const double x = normal(), y = normal(), z = normal();
        return Vector3d(x, y, z) * deviation;
    }

private:
    std::mt19937_64 bits_;
};

// The attitude over time: device frame to east, north, up.
class motion_model
{
public:
    motion_model(motion how, random_source *random) : how_(how)
    {
        for (wave &w : waves_)
            w = {0.1 + 0.5 * random->uniform(), TURN * random->uniform()};
    }

    Quaterniond attitude(double t)
    {
        switch (how_)
        {
        case motion::tumble:
            return tumbled(t);
        case motion::figure8:
            return waved(t);
        case motion::yaw:
            return Quaterniond(AngleAxisd(YAW_RATE * t, Vector3d::UnitZ()));
        case motion::still:
            break;
        }
        return Quaterniond(AngleAxisd(0.3, Vector3d(1, 2, 3).normalized()));
    }

private:
    static constexpr double YAW_RATE = 1.5;    // rad/s
    static constexpr double TUMBLE_RATE = 1.6; // rad/s, amplitude of each wave
    static constexpr double STEP_MAX = 1e-3;   // s, of the integration of the tumble

    struct wave
    {
        double hz, phase;

        double at(double t) const
        {
            return std::sin(TURN * hz * t + phase);
        }
    };

    Vector3d tumble_rate(double t) const
    {
        Vector3d rate;
        for (int axis = 0; axis < 3; ++axis)
            rate[axis] = TUMBLE_RATE * (waves_[2 * axis].at(t) + waves_[2 * axis + 1].at(t));
        return rate;
    }

    // Each axis turns at a rate of two waves, integrated up to exactly t, which must not go back.
    Quaterniond tumbled(double t)
    {
        const double from = tumbled_until_;
        const int steps = static_cast<int>(std::ceil((t - from) / STEP_MAX));
        for (int k = 0; k < steps; ++k)
        {
            const double step = (t - from) / steps;
            const Vector3d turn = tumble_rate(from + (k + 0.5) * step) * step;
            tumbled_ = (tumbled_ * Quaterniond(AngleAxisd(turn.norm(), turn.normalized()))).normalized();
        }
        tumbled_until_ = t;
        return tumbled_;
    }

    // One figure in two seconds: tilted to the sides once, forth and back twice, while the arm turns slowly.
    Quaterniond waved(double t) const
    {
        const double roll = 1.2 * std::sin(TURN * t / 2.0), pitch = 0.9 * std::sin(TURN * t);
        const double yaw = 0.8 * std::sin(TURN * t / 7.0);
        return AngleAxisd(yaw, Vector3d::UnitZ()) * AngleAxisd(pitch, Vector3d::UnitX()) *
               AngleAxisd(roll, Vector3d::UnitY());
    }

    motion how_;
    wave waves_[6];
    Quaterniond tumbled_ = Quaterniond::Identity();
    double tumbled_until_ = 0.0;
};

Vector3d turn_rate(const Quaterniond &from, const Quaterniond &to, double seconds)
{
    const AngleAxisd turn(from.conjugate() * to);
    return turn.axis() * (turn.angle() / seconds);
}

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

        print_event(&events, t_ns, "acc", to_device * up + random.normal_vector(ACC_NOISE));
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
