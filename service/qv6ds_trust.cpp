#include "qv6ds_trust.h"

#include "qv6dservice.h"

#include <algorithm>
#include <limits>

using namespace qv6ds_math;

static constexpr double INFINITE = std::numeric_limits<double>::infinity();
static constexpr int64_t SECOND = 1000000000;

// Errors of the offset, microtesla, up to which a status is shown. Across a horizontal field of 24 µT they turn the
// heading by 7, 14 and 56 degrees.
static constexpr double ERROR_AT[4] = {INFINITE, 20.0, 6.0, 3.0};

// The norm may be so far from the radius, microtesla, beside what is known of its scatter.
static constexpr double NORM_TOLERANCE = 3.0, NORM_LEARNT = 0.5;

// How fast what the sphere itself does not explain may grow, microtesla for each sample that is learnt from.
static constexpr double ALLOWANCE_GROWS = 0.002;
static constexpr int64_t AGREES_FOR = SECOND;

// So long samples are gathered before they speak against a trusted sphere, and longer when the radius is another too:
// an offset that is really new does not change the strength of the field, and what passes does not stay.
static constexpr int64_t REPLACES_AFTER = 3 * SECOND, REPLACES_LATE = 12 * SECOND;
static constexpr double RADIUS_CHANGE = 0.08; // share of the radius

// A status stays until the error is by so much above what it needs.
static constexpr double STAYS = 1.25;

static constexpr int64_t CALM_EVERY = SECOND;

// A sphere whose samples scatter by more than this share of the radius was seen in a field that changed.
static constexpr double RESIDUAL_MAX = 0.12;
static constexpr int32_t RESIDUAL_COUNT = 24;

// Share of the radius from which on what the samples have beyond noise is called soft iron.
static constexpr double SOFT_IRON = 0.03;

// Of the offset with warmth and age, microtesla a second: 1 an hour.
static constexpr double DRIFT = 1.0 / 3600.0;
static constexpr double TURNED = 10.0; // microtesla between two directions

static constexpr double NOISE_SHARE = 0.005; // of a new sample in the running variance, at least
static constexpr double NOISE_START = 0.5;   // microtesla

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

static bool is_questioned(const qv6ds_trust &trust)
{
    return trust.disturbed || trust.jumped || trust.resumed;
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

void qv6ds_trust_resume(qv6ds_trust *trust, const qv6ds_sphere &samples, const qv6ds_fit &fit, double noise)
{
    trust_in(trust, samples, fit, unexplained(fit));
    trust->noise = noise;
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

// What was attached is gone when the field is what it would be without it; only a gyroscope can tell.
static void look_for_return(qv6ds_trust *trust, const qv6ds_sample &sample)
{
    if (trust->jumped && norm(sample.field - trust->before_jump) < NORM_TOLERANCE)
        trust->jumped = false;
}

void qv6ds_trust_follow(qv6ds_trust *trust, const qv6ds_sample &sample)
{
    if (trust->any && sample.jumped)
    {
        if (!trust->jumped)
            trust->before_jump = trust->last_field;
        trust->jumped = true;
        trust->jump = norm(sample.field - trust->before_jump);
        forget_young(trust);
    }
    else if (trust->jumped && trust->trusted.good && sample.has_rotation)
    {
        const quaternion back = conjugate(rotation(sample.rotation));
        trust->before_jump = trust->trusted.centre + turned(back, trust->before_jump - trust->trusted.centre);
        look_for_return(trust, sample);
    }
    if (trust->any && !sample.jumped)
        learn_noise(trust, sample.field);
    if (trust->trusted.good)
        look_for_disturbance(trust, sample);
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

// A young sphere that contradicts the trusted one has to have gathered for some time.
static bool may_replace(const qv6ds_trust &trust, int64_t time)
{
    const double change = std::fabs(trust.young.radius - trust.trusted.radius);
    const bool same_field = change <= RADIUS_CHANGE * trust.trusted.radius;
    return time - trust.young_since >= (same_field ? REPLACES_AFTER : REPLACES_LATE);
}

static void confirm_or_replace(qv6ds_trust *trust, int64_t time)
{
    const bool confirmed = trust->trusted.good && agrees(trust->young, trust->trusted);
    if (trust->trusted.good && !confirmed && !may_replace(*trust, time))
        return;
    trust->jumped = trust->resumed = false;
    if (!confirmed || trust->young.error < trust->trusted.error)
    {
        trust_in(trust, trust->young_samples, trust->young, unexplained(trust->young));
        trust->disturbed = false;
        trust->disturbance = 0.0;
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

static void learn_young(qv6ds_trust *trust, const qv6ds_sample &sample)
{
    if (trust->young_samples.count == 0 || sample.time < trust->young_since)
        trust->young_since = sample.time;
    qv6ds_sphere_add(&trust->young_samples, sample.field);
    trust->young = qv6ds_sphere_fit(&trust->young_samples, trust->noise);
    if (is_mixed(trust->young, trust->young_samples))
        forget_young(trust);
    if (trust->young.good && trust->young.error <= ERROR_AT[3])
        confirm_or_replace(trust, sample.time);
}

void qv6ds_trust_learn(qv6ds_trust *trust, const qv6ds_sample &sample)
{
    if (trust->trusted.good && !is_questioned(*trust))
        learn_trusted(trust, sample);
    else
        learn_young(trust, sample);
}

static int32_t status_of(double error, int32_t shown)
{
    for (int32_t status = 3; status > 0; --status)
        if (error <= ERROR_AT[status] * (status <= shown ? STAYS : 1.0))
            return status;
    return 0;
}

// What speaks against the offset counts in its error, and keeps the status down whatever that is.
static void add_doubts(qv6ds_judgement *judgement, const qv6ds_trust &trust)
{
    if (trust.trusted.good && trust.jumped)
    {
        judgement->error += trust.jump;
        judgement->reasons |= QV6DS_JUMPED;
    }
    if (trust.trusted.good && trust.disturbed)
    {
        judgement->error += 2.0 * trust.disturbance;
        judgement->reasons |= QV6DS_DISTURBED;
    }
    judgement->status = status_of(judgement->error, trust.status);
    if ((judgement->reasons & (QV6DS_JUMPED | QV6DS_DISTURBED)) != 0)
        judgement->status = std::min(judgement->status, 1);
    else if (judgement->status < 3)
        judgement->reasons |= QV6DS_TURN;
    if (trust.resumed)
    {
        judgement->reasons |= QV6DS_RESUMED;
        judgement->status = std::min(judgement->status, 2);
    }
}

static void add_place(qv6ds_judgement *judgement, const qv6ds_place &place)
{
    const double away = std::fabs(judgement->radius - place.strength);
    if (away <= NORM_TOLERANCE + judgement->error)
        return;
    judgement->reasons |= QV6DS_OTHER_FIELD;
    judgement->error += 2.0 * away;
    judgement->status = std::min(judgement->status, std::min(2, status_of(judgement->error, 0)));
}

qv6ds_judgement qv6ds_trust_judge(qv6ds_trust *trust, int64_t time, const vec *offset, const qv6ds_place *place)
{
    qv6ds_judgement judgement = {0, QV6DS_TURN, {}, 0.0, INFINITE, trust->disturbance};
    const qv6ds_fit &fit = trust->trusted.good ? trust->trusted : trust->young;
    if (!fit.good)
    {
        trust->status = 0;
        return judgement;
    }
    judgement.reasons = 0;
    judgement.bias = fit.centre;
    judgement.radius = fit.radius;
    const double age = static_cast<double>(std::max<int64_t>(0, time - trust->turned_at)) / static_cast<double>(SECOND);
    judgement.error = fit.error + DRIFT * age;

    // The library has learnt from more samples: its offset is the one to publish as long as the witness agrees.
    const double apart = offset != nullptr ? norm(*offset - fit.centre) : INFINITE;
    if (apart <= 0.5 * fit.error)
    {
        judgement.bias = *offset;
        judgement.error += apart;
    }
    add_doubts(&judgement, *trust);
    if (fit.systematic > SOFT_IRON * fit.radius)
        judgement.reasons |= QV6DS_SOFT_IRON;
    if (place->known)
        add_place(&judgement, *place);
    if (judgement.status == 0)
        judgement.error = INFINITE;
    trust->status = judgement.status;
    return judgement;
}
