// What a recording shows over time, thinned: where the field was, how the device turned, what was published.
#pragma once

#include "recordings/recording.h"

#include <Eigen/Geometry>
#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace qv6d
{

// One magnetometer sample and what the library had published when it came. Microtesla, seconds from the first event.
struct trust_sample
{
    double t;
    std::array<double, 3> field; // soft iron removed as far as the configuration does
    std::array<double, 3> offset;
    double radius; // 0 as long as nothing is published
    int grade;
};

struct publication
{
    double from; // s
    Eigen::Vector3d offset;
    double radius;
    int grade;
};

struct kept_sample
{
    double t;
    double until; // s: so long, samples followed one another
    Eigen::Vector3d field;
    std::size_t published;   // index of the publication
    Eigen::Quaterniond turn; // of the device since the sample kept before
    bool turn_known;         // a gyroscope saw all of it
};

// Keeps a sample whenever the field has moved or a second has passed: what is kept counts every direction once, however
// long the device stays there. Bounded: a long recording is kept more coarsely.
class timeline
{
public:
    // Gyroscope events are used, all others are not.
    void add(const event &e);
    void add(const trust_sample &s);

    const std::vector<kept_sample> &samples() const
    {
        return samples_;
    }

    const std::vector<publication> &publications() const
    {
        return publications_;
    }

private:
    void note_published(const trust_sample &s);
    Eigen::Vector3d without_glitch(const Eigen::Vector3d &field);
    void keep(const trust_sample &s, const Eigen::Vector3d &field);
    void thin();

    std::vector<kept_sample> samples_;
    std::vector<publication> publications_;
    double last_ = 0.0, spacing_scale_ = 1.0;
    std::array<Eigen::Vector3d, 2> before_ = {};
    int seen_ = 0;
    Eigen::Quaterniond turn_ = Eigen::Quaterniond::Identity();
    bool turn_known_ = false;
    std::optional<std::int64_t> last_gyr_ns_;
};

} // namespace qv6d
