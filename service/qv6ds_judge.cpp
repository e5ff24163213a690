// From what is known to what is published.

#include "qv6ds_trust.h"

#include "qv6ds_units.h"
#include "qv6dservice.h"

#include <algorithm>

using namespace qv6ds_math;

static constexpr double INFINITE = std::numeric_limits<double>::infinity();

// A status stays until the error is by so much above what it needs.
static constexpr double STAYS = 1.25;

// Share of the radius from which on what the samples have beyond noise is called soft iron.
static constexpr double SOFT_IRON = 0.03;

// Of the offset with warmth and age, microtesla a second: 1 an hour.
static constexpr double DRIFT = 1.0 / 3600.0;

// From the field of the place, microtesla: the model is that good, and the inclination that is felt.
static constexpr double PLACE_TOLERANCE = 4.0;
static constexpr double DIP_COUNT = 50.0; // samples before the inclination counts

static int32_t status_of(double error, int32_t shown)
{
    for (int32_t status = 3; status > 0; --status)
        if (error <= QV6DS_ERROR_AT[status] * (status <= shown ? STAYS : 1.0))
            return status;
    return 0;
}

// What speaks against the offset counts in its error, and keeps the status down whatever that is.
static void add_doubts(qv6ds_judgement *judgement, const qv6ds_trust &trust)
{
    if (trust.trusted.good && trust.jump.jumped)
    {
        judgement->error += trust.jump.size;
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

// The field as it is seen and as it is at this place, both by strength and inclination, and how far they are apart.
static double away_from(const qv6ds_place &place, const qv6ds_trust &trust, double radius)
{
    const double dip = trust.dip_count >= DIP_COUNT ? trust.dip : place.inclination;
    return std::hypot(radius * std::cos(dip) - place.strength * std::cos(place.inclination),
                      radius * std::sin(dip) - place.strength * std::sin(place.inclination));
}

static void add_place(qv6ds_judgement *judgement, const qv6ds_trust &trust, const qv6ds_place &place)
{
    const double away = away_from(place, trust, judgement->radius);
    if (away <= PLACE_TOLERANCE + judgement->error)
        return;
    judgement->reasons |= QV6DS_OTHER_FIELD;
    judgement->error += 2.0 * away;
    judgement->status = std::min(judgement->status, std::min(2, status_of(judgement->error, 0)));
}

qv6ds_judgement qv6ds_judge(qv6ds_trust *trust, int64_t time, const vec *offset, const qv6ds_place *place)
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
        add_place(&judgement, *trust, *place);
    if (judgement.status == 0)
        judgement.error = INFINITE;
    trust->status = judgement.status;
    return judgement;
}
