#include "qv6ds_trust.h"

#include "qv6ds_units.h"
#include "qv6dservice.h"

#include <algorithm>
#include <limits>

using namespace qv6ds_math;

static constexpr double INFINITE = std::numeric_limits<double>::infinity();

// The norm may be so far from the radius, microtesla, beside what is known of its scatter.
static constexpr double NORM_TOLERANCE = 3.0, NORM_LEARNT = 0.5;

// How fast what the sphere itself does not explain may grow, microtesla for each sample that is learnt from.
static constexpr double ALLOWANCE_GROWS = 0.002;
static constexpr int64_t AGREES_FOR = SECOND;

// So long samples are gathered before they speak against a trusted sphere, and longer when the radius is another too:
// an offset that is really new does not change the strength of the field, and what passes does not stay.
static constexpr int64_t REPLACES_AFTER = 3 * SECOND, REPLACES_LATE = 12 * SECOND;
static constexpr double RADIUS_CHANGE = 0.08; // share of the radius

static constexpr int64_t CALM_EVERY = SECOND;

// A sphere whose samples scatter by more than this share of the radius was seen in a field that changed.
static constexpr double RESIDUAL_MAX = 0.12;
static constexpr int32_t RESIDUAL_COUNT = 24;

static constexpr double TURNED = 10.0; // microtesla between two directions

static constexpr double NOISE_SHARE = 0.005; // of a new sample in the running variance, at least
static constexpr double NOISE_START = 0.5;   // microtesla
static constexpr double NOISE_KNOWN = 200.0; // samples that what was kept counts for

// Gravity is felt alone when the acceleration has its strength; m/s².
static constexpr double GRAVITY_TOLERANCE = 0.3;
static constexpr double DIP_SHARE = 0.01; // of a new sample in the mean, at least

// A young sphere that contradicts itself is gathered again from its newer half, so often.
static constexpr int64_t RENEWED_EVERY = 4 * SECOND;
static constexpr double CONTRADICTS = 0.03; // share of the radius

static double unexplained(const qv6ds_fit &fit)
{
    return fit.error + 2.0 * fit.systematic;
}

void qv6ds_trust_start(qv6ds_trust *trust)
{
    *trust = {};
    qv6ds_sphere_clear(&trust->trusted_samples);
    qv6ds_sphere_clear(&trust->young_samples);
    trust->noise = INFINITE;
}

void qv6ds_trust_forget_time(qv6ds_trust *trust)
{
    trust->any = false;
    qv6ds_jump_forget_time(&trust->jump);
}

static bool is_questioned(const qv6ds_trust &trust)
{
    return trust.disturbed || trust.jump.jumped || trust.resumed;
}

static double noise_of(const qv6ds_trust &trust)
{
    return std::isfinite(trust.noise) ? trust.noise : NOISE_START;
}

static double away(const qv6ds_trust &trust, vec field)
{
    return std::fabs(norm(field - trust.trusted.centre) - trust.trusted.radius);
}

// How far a norm may be from the radius before it is called a disturbance, and before it is no longer learnt from: what
// comes slowly nearer must not become what is expected.
static double tolerance(const qv6ds_trust &trust)
{
    return NORM_TOLERANCE + 4.0 * noise_of(trust) + trust.allowance;
}

static double learnt_within(const qv6ds_trust &trust)
{
    return NORM_LEARNT + 3.0 * noise_of(trust) + trust.allowance;
}

// From now on this sphere is trusted, and there is no younger state of it to go back to.
static void trust_in(qv6ds_trust *trust, const qv6ds_sphere &samples, const qv6ds_fit &fit, double allowance)
{
    trust->trusted_samples = samples;
    trust->trusted = fit;
    trust->allowance = allowance;
    for (int i = 0; i < 2; ++i)
    {
        trust->calm_samples[i] = samples;
        trust->calm_allowance[i] = allowance;
    }
}

void qv6ds_trust_resume(qv6ds_trust *trust, const qv6ds_sphere &samples, double noise)
{
    const qv6ds_fit fit = qv6ds_sphere_fit(&samples, noise);
    trust_in(trust, samples, fit, unexplained(fit));
    trust->noise = noise;
    trust->noise_count = NOISE_KNOWN;
    trust->resumed = true;
}

static void stay_calm(qv6ds_trust *trust, int64_t time)
{
    if (time - trust->calm_at >= 0 && time - trust->calm_at < CALM_EVERY)
        return;
    trust->calm_at = time;
    trust->calm_samples[1] = trust->calm_samples[0];
    trust->calm_allowance[1] = trust->calm_allowance[0];
    trust->calm_samples[0] = trust->trusted_samples;
    trust->calm_allowance[0] = trust->allowance;
}

// What was learnt in the last second or two was a part of what disturbs already.
static void back_to_calm(qv6ds_trust *trust)
{
    const qv6ds_fit fit = qv6ds_sphere_fit(&trust->calm_samples[1], trust->noise);
    if (fit.good)
        trust_in(trust, trust->calm_samples[1], fit, std::min(trust->calm_allowance[1], unexplained(fit)));
}

static void forget_young(qv6ds_trust *trust)
{
    qv6ds_sphere_clear(&trust->young_samples);
    trust->young = {};
}

// The norm of two fields, one after the other, differs by noise, however the device turns.
static void learn_noise(qv6ds_trust *trust, vec field)
{
    const qv6ds_fit &fit = trust->trusted.good ? trust->trusted : trust->young;
    if (!fit.good)
        return;
    const double now = norm(field - fit.centre), before = norm(trust->last_field - fit.centre);
    const double variance = 0.5 * (now - before) * (now - before);
    const double known = std::isfinite(trust->noise) ? trust->noise : NOISE_START;
    if (variance > 25.0 * known * known + 1.0)
        return;
    const double share = std::max(NOISE_SHARE, 1.0 / ++trust->noise_count);
    trust->noise = std::sqrt((1.0 - share) * known * known + share * variance);
}

static void look_for_disturbance(qv6ds_trust *trust, const qv6ds_sample &sample)
{
    const double now = away(*trust, sample.field);
    const bool agrees = now <= tolerance(*trust);
    if (!agrees && !trust->disturbed)
        back_to_calm(trust);
    if (!agrees)
        trust->agrees_since = sample.time;
    trust->disturbance = agrees ? trust->disturbance : std::max(trust->disturbance, now);
    trust->disturbed = !agrees || (trust->disturbed && sample.time - trust->agrees_since < AGREES_FOR);
    if (!trust->disturbed)
        trust->disturbance = 0.0;
}

static void look_for_jump(qv6ds_trust *trust, const qv6ds_sample &sample)
{
    const qv6ds_fit &fit = trust->trusted;
    const bool calm = fit.good && !trust->disturbed && !trust->jump.jumped;
    if (qv6ds_jump_follow(&trust->jump, sample, {fit.centre, fit.radius, fit.error, noise_of(*trust), calm}))
        forget_young(trust);
}

static void learn_dip(qv6ds_trust *trust, const qv6ds_sample &sample)
{
    const double force = norm(sample.force);
    if (!sample.has_force || std::fabs(force - GRAVITY) > GRAVITY_TOLERANCE)
        return;
    const vec field = sample.field - trust->trusted.centre;
    const double down = -dot(field, sample.force) / (norm(field) * force);
    const double share = std::max(DIP_SHARE, 1.0 / ++trust->dip_count);
    trust->dip += share * (std::asin(std::clamp(down, -1.0, 1.0)) - trust->dip);
}

static void begin_times(qv6ds_trust *trust, int64_t time)
{
    trust->agrees_since = trust->turned_at = trust->young_since = trust->calm_at = time;
}

void qv6ds_trust_follow(qv6ds_trust *trust, const qv6ds_sample &sample)
{
    if (!trust->any)
        begin_times(trust, sample.time);
    else if (!sample.jumped)
        learn_noise(trust, sample.field);
    look_for_jump(trust, sample);
    if (trust->trusted.good)
    {
        look_for_disturbance(trust, sample);
        learn_dip(trust, sample);
    }
    if (!trust->any || norm(sample.field - trust->turned_from) > TURNED)
    {
        trust->turned_from = sample.field;
        trust->turned_at = sample.time;
    }
    trust->last_field = sample.field;
    trust->any = true;
}

static bool is_mixed(const qv6ds_fit &fit, const qv6ds_sphere &samples)
{
    return samples.count >= RESIDUAL_COUNT && fit.residual > RESIDUAL_MAX * std::max(fit.radius, 1.0);
}

static bool agrees(const qv6ds_fit &a, const qv6ds_fit &b)
{
    return norm(a.centre - b.centre) <= a.error + b.error;
}

static bool has_its_radius(const qv6ds_trust &trust)
{
    const double change = std::fabs(trust.young.radius - trust.trusted.radius);
    return change <= RADIUS_CHANGE * trust.trusted.radius;
}

// A young sphere that contradicts the trusted one has to have gathered for some time.
static bool may_replace(const qv6ds_trust &trust, int64_t time)
{
    return time - trust.young_since >= (has_its_radius(trust) ? REPLACES_AFTER : REPLACES_LATE);
}

static void confirm_or_replace(qv6ds_trust *trust, int64_t time)
{
    const bool confirmed = trust->trusted.good && agrees(trust->young, trust->trusted);
    if (trust->trusted.good && !confirmed && !may_replace(*trust, time))
        return;
    trust->jump.jumped = trust->resumed = false;
    if (!confirmed || trust->disturbed || trust->young.error < trust->trusted.error)
    {
        trust_in(trust, trust->young_samples, trust->young, unexplained(trust->young));
        trust->disturbed = false;
        trust->disturbance = 0.0;
        qv6ds_jump_forget_time(&trust->jump);
    }
    forget_young(trust);
}

static void learn_trusted(qv6ds_trust *trust, const qv6ds_sample &sample)
{
    forget_young(trust);
    stay_calm(trust, sample.time);
    if (away(*trust, sample.field) > learnt_within(*trust))
        return;
    qv6ds_sphere_add(&trust->trusted_samples, sample.field);
    const qv6ds_fit fit = qv6ds_sphere_fit(&trust->trusted_samples, trust->noise);
    if (fit.good)
    {
        trust->trusted = fit;
        trust->allowance = std::min(unexplained(fit), trust->allowance + ALLOWANCE_GROWS);
    }
    if (is_mixed(fit, trust->trusted_samples))
    {
        qv6ds_sphere_clear(&trust->trusted_samples);
        trust->trusted.good = false;
    }
}

static void renew_young(qv6ds_trust *trust, int64_t time)
{
    trust->young_since = time;
    qv6ds_sphere_drop_older_half(&trust->young_samples);
    trust->young = qv6ds_sphere_fit(&trust->young_samples, trust->noise);
}

static void learn_young(qv6ds_trust *trust, const qv6ds_sample &sample)
{
    if (trust->young_samples.count == 0)
        trust->young_since = sample.time;
    qv6ds_sphere_add(&trust->young_samples, sample.field);
    trust->young = qv6ds_sphere_fit(&trust->young_samples, trust->noise);
    if (is_mixed(trust->young, trust->young_samples))
        renew_young(trust, sample.time);
    if (trust->young.good && trust->young.error <= QV6DS_ERROR_AT[3])
        confirm_or_replace(trust, sample.time);
    else if (trust->trusted.good && sample.time - trust->young_since >= RENEWED_EVERY &&
             trust->young.systematic > CONTRADICTS * trust->trusted.radius)
        renew_young(trust, sample.time);
}

void qv6ds_trust_learn(qv6ds_trust *trust, const qv6ds_sample &sample)
{
    if (trust->trusted.good && !is_questioned(*trust))
        learn_trusted(trust, sample);
    else
        learn_young(trust, sample);
}
