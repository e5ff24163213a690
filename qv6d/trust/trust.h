// Can a grade be trusted? What the recording itself says, looking back, of the offsets that were published in it.
#pragma once

#include "trust/timeline.h"

#include <array>
#include <vector>

namespace qv6d
{

// An offset at the best grade is wrong when it is off by more. It turns the heading by 12 degrees where it lies across
// a horizontal field of 24 microtesla.
inline constexpr double OFFSET_WRONG = 5.0; // microtesla

enum class trust_verdict
{
    held,         // whenever it could be judged
    contradicted, // for a second or more
    unjudged,
};

enum class unjudged_reason
{
    none,
    never_graded, // no sample at the best grade
    untimed,      // without times nothing is known of what lasts and what passes
    too_little,   // the field was seen from too few directions
    disturbed,    // the field lies on no sphere
};

enum class contradiction_kind
{
    offset, // the field lay on a sphere around another centre
    norm,   // from one direction: the field was not as strong as the radius says
};

struct contradiction
{
    double from, to; // s
    contradiction_kind kind;
    double by; // microtesla, median
};

// An offset that the field shows, whatever the library published.
struct seen_offset
{
    double from, to; // s
    std::array<double, 3> centre;
    double radius, error; // microtesla; the error holds in 95 of 100
};

struct trust
{
    trust_verdict verdict = trust_verdict::unjudged;
    unjudged_reason reason = unjudged_reason::never_graded;
    double graded = 0.0, judged = 0.0, wrong = 0.0; // s at the best grade
    std::vector<contradiction> contradictions;
    std::vector<seen_offset> offsets; // one after the other, with gaps
    double soft_iron = 0.0;           // how much longer the longest axis of the ellipsoid is than its mean, share
    double soft_iron_error = 0.0;     // standard deviation
};

class trust_judge
{
public:
    void add(const event &e)
    {
        timeline_.add(e);
    }

    void add(const trust_sample &s)
    {
        timeline_.add(s);
    }

    // `timed` is false when the samples' times are only their numbers.
    trust finish(bool timed = true) const;

private:
    timeline timeline_;
};

} // namespace qv6d
