#include "trust/trust.h"

#include "common/statistics.h"
#include "qv6dalgo.h"
#include "trust/stretches.h"

#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>
#include <optional>

namespace qv6d
{

namespace
{

constexpr double KNOWN = 6.0;         // microtesla: error up to which a stretch's centre is known
constexpr double KNOWN_AFTER = 3.0;   // s: for a moment a changing field fits a sphere, too
constexpr double PASSES = 10.0;       // s: what is gone by then has passed
constexpr double SAME = 3.0;          // microtesla between two centres of one offset
constexpr double FITS = 2.0;          // microtesla, median
constexpr double NORM_WRONG = 6.0;    // microtesla
constexpr double SHORTEST = 1.0;      // s: no contradiction is shorter
constexpr double NORM_SHORTEST = 5.0; // s: what is shorter may have passed
constexpr double GAP = 1.0;           // s: contradictions that are nearer are one
constexpr double MOST = 0.5;          // of the graded time: a verdict needs so much of it
constexpr double DISTURBED = 0.1;     // of the radius: such a residual is no sphere's

// A recording after its last sample.
struct hindsight
{
    const timeline &seen;
    stretches found;
    Eigen::Matrix3d to_sphere;
};

// A sample at the best grade, as long as it lasted.
struct finding
{
    double from, to;
    bool judged;
    std::optional<contradiction_kind> wrong;
    double by;
};

double from_of(const hindsight &all, const stretch &s)
{
    return all.seen.samples()[s.begin].t;
}

double to_of(const hindsight &all, const stretch &s)
{
    return all.seen.samples()[s.end - 1].until;
}

bool is_known(const hindsight &all, const stretch &s)
{
    return s.error <= KNOWN && to_of(all, s) - from_of(all, s) >= KNOWN_AFTER;
}

// The next stretch whose centre is known, going back or forth.
const stretch *next_known(const hindsight &all, std::size_t i, std::ptrdiff_t step)
{
    const auto count = static_cast<std::ptrdiff_t>(all.found.all.size());
    for (auto k = static_cast<std::ptrdiff_t>(i) + step; k >= 0 && k < count; k += step)
        if (const stretch &s = all.found.all[static_cast<std::size_t>(k)]; is_known(all, s))
            return &s;
    return nullptr;
}

// Most of the samples lie on the sphere.
bool fits(const hindsight &all, const stretch &sphere, const stretch &s)
{
    std::vector<double> distances;
    for (std::size_t k = s.begin; k < s.end; ++k)
    {
        const Eigen::Vector3d from_centre = all.to_sphere * (all.seen.samples()[k].field - sphere.centre);
        distances.push_back(std::abs(from_centre.norm() - sphere.radius));
    }
    return median_of(distances) <= FITS;
}

// What is known of the sphere in a stretch. Null when nothing is.
struct view
{
    const stretch *before, *after, *here;
};

// The sphere that the device had in a stretch. When something passed, it is the one that was there before and after. At
// rest, it is the one seen before or after, if it fits.
const stretch *sphere_in(const hindsight &all, std::size_t i, const stretch *before, const stretch *after)
{
    if (before != nullptr && after != nullptr && from_of(all, *after) - to_of(all, *before) <= PASSES &&
        (before->centre - after->centre).norm() <= SAME)
        return before;
    const stretch &own = all.found.all[i];
    if (is_known(all, own))
        return &own;
    for (const stretch *other : {before, after})
        if (other != nullptr && fits(all, *other, own))
            return other;
    return nullptr;
}

view view_of(const hindsight &all, std::size_t i)
{
    const stretch *before = next_known(all, i, -1), *after = next_known(all, i, 1);
    return {before, after, sphere_in(all, i, before, after)};
}

bool is_right(const publication &p, const stretch *sphere)
{
    return sphere != nullptr && (p.offset - sphere->centre).norm() <= OFFSET_WRONG;
}

// A distance that is NaN is wrong. From one direction, a magnet looks like a room with another field: where the same
// offset was right before and after, nothing is said.
void judge(const hindsight &all, const kept_sample &s, const publication &p, const view &sphere, finding *f)
{
    f->judged = sphere.here != nullptr;
    f->by = f->judged ? (p.offset - sphere.here->centre).norm()
                      : std::abs((all.to_sphere * (s.field - p.offset)).norm() - p.radius);
    if (f->judged && !(f->by <= OFFSET_WRONG))
        f->wrong = contradiction_kind::offset;
    if (!f->judged && !(f->by <= NORM_WRONG) && !(is_right(p, sphere.before) && is_right(p, sphere.after)))
        f->wrong = contradiction_kind::norm;
}

std::vector<finding> findings_of(const hindsight &all)
{
    std::vector<finding> findings;
    const std::vector<kept_sample> &samples = all.seen.samples();
    for (std::size_t i = 0; i < all.found.all.size(); ++i)
    {
        const view sphere = view_of(all, i);
        for (std::size_t k = all.found.all[i].begin; k < all.found.all[i].end; ++k)
        {
            const publication &p = all.seen.publications()[samples[k].published];
            if (p.grade < QV6D_GRADE_BEST)
                continue;
            finding f = {samples[k].t, samples[k].until, false, {}, 0.0};
            judge(all, samples[k], p, sphere, &f);
            findings.push_back(f);
        }
    }
    return findings;
}

// Findings that are wrong, from the first one on, as long as they follow one another.
std::size_t join(const std::vector<finding> &findings, std::size_t first, contradiction *c)
{
    std::vector<double> amounts;
    *c = {findings[first].from, findings[first].to, contradiction_kind::norm, 0.0};
    std::size_t next = first;
    for (; next < findings.size() && findings[next].from - c->to <= GAP; ++next)
    {
        const finding &f = findings[next];
        if (!f.wrong)
            continue;
        c->to = f.to;
        c->kind = std::min(c->kind, *f.wrong);
        amounts.push_back(f.by);
    }
    c->by = median_of(amounts);
    return next;
}

std::vector<contradiction> contradictions_of(const std::vector<finding> &findings)
{
    std::vector<contradiction> all;
    for (std::size_t i = 0; i < findings.size();)
    {
        if (!findings[i].wrong)
        {
            ++i;
            continue;
        }
        contradiction c;
        i = join(findings, i, &c);
        if (c.to - c.from >= (c.kind == contradiction_kind::norm ? NORM_SHORTEST : SHORTEST))
            all.push_back(c);
    }
    return all;
}

std::vector<seen_offset> offsets_of(const hindsight &all)
{
    std::vector<seen_offset> offsets;
    for (const stretch &s : all.found.all)
        if (is_known(all, s))
            offsets.push_back(
                {from_of(all, s), to_of(all, s), {s.centre.x(), s.centre.y(), s.centre.z()}, s.radius, s.error});
    return offsets;
}

// The ellipsoid is longest where its matrix is smallest.
void set_soft_iron(const field_shape &shape, trust *t)
{
    const Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> axes(shape.to_sphere(), Eigen::EigenvaluesOnly);
    t->soft_iron = 1.0 / axes.eigenvalues()[0] - 1.0;
    t->soft_iron_error = std::sqrt(shape.covariance.diagonal().maxCoeff()) / 2.0;
}

bool is_disturbed(const hindsight &all)
{
    return std::ranges::any_of(all.found.all, [&](const stretch &s)
                               { return !is_known(all, s) && s.residual > DISTURBED * all.found.shape.radius; });
}

} // namespace

trust trust_judge::finish(bool timed) const
{
    trust t;
    t.reason = timed ? unjudged_reason::never_graded : unjudged_reason::untimed;
    if (!timed || timeline_.samples().empty())
        return t;
    stretches found = find_stretches(timeline_.samples());
    const hindsight all = {timeline_, found, found.shape.to_sphere()};
    t.offsets = offsets_of(all);
    set_soft_iron(found.shape, &t);
    const std::vector<finding> findings = findings_of(all);
    if (findings.empty())
        return t;
    for (const finding &f : findings)
    {
        t.graded += f.to - f.from;
        t.judged += f.judged || f.wrong ? f.to - f.from : 0.0;
    }
    t.contradictions = contradictions_of(findings);
    for (const contradiction &c : t.contradictions)
        t.wrong += c.to - c.from;
    t.reason = unjudged_reason::none;
    if (!t.contradictions.empty())
        t.verdict = trust_verdict::contradicted;
    else if (t.judged > 0.0 && t.judged >= MOST * t.graded)
        t.verdict = trust_verdict::held;
    else
        t.reason = is_disturbed(all) ? unjudged_reason::disturbed : unjudged_reason::too_little;
    return t;
}

} // namespace qv6d
