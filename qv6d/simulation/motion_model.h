// How a simulated device moves, and how well its inertial sensors see it.
#pragma once

#include "simulation/motion.h"
#include "simulation/random_source.h"

#include <Eigen/Geometry>

namespace qv6d
{

inline constexpr double GRAVITY = 9.81;    // m/s²
inline constexpr double ACC_NOISE = 0.02;  // m/s², standard deviation per axis
inline constexpr double GYR_NOISE = 0.002; // rad/s, standard deviation per axis

class motion_model
{
public:
    // `amplitude` is the share of the full movement of tumble, figure8 and gesture.
    motion_model(motion how, random_source *random, double amplitude = 1.0);

    // Device frame to east, north, up, after t seconds. t must not go back.
    Eigen::Quaterniond attitude(double t);

    // m/s², east, north, up, without gravity.
    Eigen::Vector3d acceleration(double t) const;

private:
    struct wave
    {
        double hz, phase;

        double at(double t) const;
    };

    Eigen::Vector3d tumble_rate(double t) const;
    Eigen::Quaterniond tumbled(double t);

    motion how_;
    double amplitude_;
    wave waves_[6] = {};
    Eigen::Quaterniond tumbled_ = Eigen::Quaterniond::Identity();
    double tumbled_until_ = 0.0;
};

// Mean turn rate between two attitudes, rad/s in the device frame.
Eigen::Vector3d turn_rate(const Eigen::Quaterniond &from, const Eigen::Quaterniond &to, double seconds);

} // namespace qv6d
