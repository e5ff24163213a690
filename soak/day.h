// Days in the life of a simulated phone, known to the last microtesla.
#pragma once

#include "motion_model.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace soak
{

inline constexpr std::int64_t RATE = 100;         // Hz, of each sensor
inline constexpr std::int64_t HOUR = 3600 * RATE; // samples

enum class activity
{
    table,  // at rest
    pocket, // of a walker
    walk,   // in a walker's hand
    spin,   // turned about the vertical only
    turn,   // turned slowly about all axes
    wave,   // figures of eight
};
inline constexpr std::array<const char *, 6> ACTIVITIES = {"table", "pocket", "walk", "spin", "turn", "wave"};

// What befalls the service.
enum class incident
{
    none,
    restart, // ended, and started again in a new process
    reinit,  // ended, and started again in the same process
    crash,   // started again in a new process without having been ended
};
inline constexpr std::array<const char *, 4> INCIDENTS = {"none", "restart", "reinit", "crash"};

struct moment
{
    std::int64_t k;                // number of the sample
    Eigen::Vector3d acc, gyr, mag; // m/s², rad/s, counts, as measured
    Eigen::Vector3d offset;        // microtesla, the true hard iron
    double disturbance;            // microtesla, of magnet and car door
    bool stepped;                  // the offset jumped just now
    activity doing;
    incident service;
    bool gyroscope; // from now on the service judges movement by the gyroscope
};

// Magnet, car door, offset step and four incidents in every hour between waking and sleeping.
class day
{
public:
    explicit day(std::uint64_t seed);

    moment next();

private:
    // A field that comes, stays and goes.
    struct visit
    {
        double start = 0.0, rise = 1.0, stay = 0.0; // s
        Eigen::Vector3d peak = Eigen::Vector3d::Zero();

        Eigen::Vector3d at(double t) const;
    };

    Eigen::Vector3d any_vector(double shortest, double longest);
    visit any_visit(double longest, double weakest, double strongest);
    void plan_hour();
    void begin_activity();
    bool step_offset();
    incident next_incident();
    Eigen::Quaterniond attitude() const;
    Eigen::Vector3d drift() const;

    qv6d::random_source random_;
    std::int64_t k_ = 0;
    double t_ = 0.0; // s

    bool night_ = false, gyroscope_hour_ = false, gyroscope_ = false;
    visit magnet_, door_;
    std::int64_t step_at_ = -1;
    std::array<std::int64_t, 4> incident_at_ = {};

    activity doing_ = activity::table;
    std::optional<qv6d::motion_model> motion_;
    double began_ = 0.0, ends_ = 0.0; // s
    Eigen::Quaterniond moved_ = Eigen::Quaterniond::Identity(), heading_ = moved_, pose_ = moved_;
    Eigen::Quaterniond from_ = moved_, before_ = moved_;

    Eigen::Vector3d built_in_, magnetised_ = Eigen::Vector3d::Zero(), by_day_, by_use_;
};

} // namespace soak
