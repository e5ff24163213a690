// What is measured over a day, and what is asserted of it.
#pragma once

#include "day.h"
#include "library.h"

#include <vector>

namespace soak
{

// Counts of a quantity from 0 up. All memory is taken at the beginning, since memory is watched.
class histogram
{
public:
    explicit histogram(double resolution) : resolution_(resolution), bins_(BINS)
    {
    }

    void add(double value);
    double quantile(double share) const; // to the resolution; 0 of nothing

    std::uint64_t count() const
    {
        return count_;
    }

    double max() const
    {
        return max_;
    }

private:
    static constexpr std::size_t BINS = 50000; // the last one takes all that is larger

    double resolution_, max_ = 0.0;
    std::uint64_t count_ = 0;
    std::vector<std::uint64_t> bins_;
};

// What the published offset can be expected to be worth.
enum class standing
{
    settled,   // waved for long enough since the last upset
    drifted,   // the same, but warmth has moved the offset since it was last waved
    upset,     // not waved for long enough since a disturbance, a step or a start without what was learnt last
    disturbed, // a magnet or a car door is near
};
inline constexpr std::array<const char *, 4> STANDINGS = {"settled", "drifted", "upset", "disturbed"};

struct findings
{
    struct row
    {
        std::uint64_t samples = 0;
        histogram error{0.01}; // microtesla, of the offset while grade 3 is shown
    };

    const row &of(standing s) const
    {
        return rows[static_cast<std::size_t>(s)];
    }

    std::uint64_t samples = 0, not_finite = 0, out_of_range = 0;
    std::array<std::uint64_t, ACTIVITIES.size()> doing = {};
    std::array<std::uint64_t, 4> grades = {};
    std::array<row, STANDINGS.size()> rows;
    double beyond_drift = 0.0;    // microtesla, largest error of a drifted offset beyond the drift
    histogram wrong_seconds{0.1}; // of grade 3 with the old offset, by step
    histogram waved_seconds{0.1}; // until the offset was right for good, by time that it settled
};

struct check
{
    const char *what;
    double measured;
    bool at_most; // the bound, otherwise at least
    double bound;

    bool passed() const // not when the measure is not a number
    {
        return at_most ? measured <= bound : measured >= bound;
    }
};

std::vector<check> checks_of(const findings &found);

class judge
{
public:
    void take(const moment &now, const answer &got);

    // What was learnt is worth nothing any more.
    void upset();

    // Closes what is still being measured.
    const findings &finish();

private:
    standing stands(const moment &now);
    void take_step(const moment &now, bool wrong);
    void end_step();

    findings found_;
    std::int64_t waved_ = 0, wrong_until_ = 0;          // samples of waving since the last upset
    Eigen::Vector3d at_wave_ = Eigen::Vector3d::Zero(); // the true offset when it was last waved
    std::int64_t wrong_ = -1;                           // samples since the last step, -1 once it was noticed
};

} // namespace soak
