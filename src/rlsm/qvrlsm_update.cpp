#include "rlsm/qvrlsm_steps.h"

#include "math/qvmaf_push.h"
#include "math/vec3.h"
#include "platform/log.h"

#include <cmath>
#include <cstring>

namespace
{
// Two numbers side by side in the processor's own registers, where it has such.
typedef double pair __attribute__((vector_size(16)));

struct four
{
    pair low, high;

    double operator[](int32_t i) const
    {
        return i < 2 ? low[i] : high[i - 2];
    }
};

struct estimate
{
    four x;
    four p[4]; // rows
};
} // namespace

static four operator+(const four &a, const four &b)
{
    return {a.low + b.low, a.high + b.high};
}

static four operator*(const four &a, double s)
{
    return {a.low * s, a.high * s};
}

static four operator/(const four &a, double s)
{
    return {a.low / s, a.high / s};
}

static double dot(const four &a, const four &b)
{
    return 0.0 + a.low[0] * b.low[0] + a.low[1] * b.low[1] + a.high[0] * b.high[0] + a.high[1] * b.high[1];
}

// rows[0] * v[0] + rows[1] * v[1] + ..., from the first on.
static four combine(const four rows[4], const four &v)
{
    four sum = {};
    for (int32_t i = 0; i < 4; ++i)
        sum = sum + rows[i] * v[i];
    return sum;
}

static void transpose(four to[4], const four from[4])
{
    for (int32_t i = 0; i < 4; ++i)
        to[i] = {pair{from[0][i], from[1][i]}, pair{from[2][i], from[3][i]}};
}

static bool has_nan(const four &v)
{
    return std::isnan(v.low[0]) || std::isnan(v.low[1]) || std::isnan(v.high[0]) || std::isnan(v.high[1]);
}

// (I - K phi^T) * (P / w²), each element of P divided before the product is formed.
static void next_covariance(four next[4], const four &gain, const four &phi, const four p[4], double w)
{
    four scaled[4];
    for (int32_t i = 0; i < 4; ++i)
        scaled[i] = p[i] / (w * w);
    for (int32_t i = 0; i < 4; ++i)
    {
        const auto m = [&](int32_t j) { return (i == j ? 1.0 : 0.0) - gain[i] * phi[j]; };
        next[i] = combine(scaled, {pair{m(0), m(1)}, pair{m(2), m(3)}});
    }
}

static bool step(estimate *next, const estimate &now, double w, double rn, qvcrd_vec3 sample)
{
    const double y = norm_square(sample);
    const four phi = {pair{2.0 * sample.x, 2.0 * sample.y}, pair{2.0 * sample.z, 1.0}};
    four columns[4];
    transpose(columns, now.p);

    const double s = dot(phi, combine(columns, phi)) + w * w * rn;
    if (s == 0.0 || w == 0.0)
        return false;

    // The gain is P * (phi / s), not (P * phi) / s: the two differ in the last bit.
    const double innovation = y - dot(phi, now.x);
    const four gain = combine(columns, phi / s);
    next->x = now.x + gain * innovation;
    next_covariance(next->p, gain, phi, now.p, w);
    return !(has_nan(next->x) || has_nan(next->p[0]) || has_nan(next->p[1]) || has_nan(next->p[2]) ||
             has_nan(next->p[3]));
}

static estimate load(const qvrlsm_bak &bak)
{
    estimate now;
    std::memcpy(&now.x, bak.x, sizeof bak.x);
    std::memcpy(now.p, bak.p, sizeof bak.p);
    return now;
}

static double radius(const estimate &e)
{
    return std::sqrt(e.x[3] + norm_square({e.x[0], e.x[1], e.x[2]}));
}

static void commit(qvrlsm_bak *bak, const estimate &next)
{
    std::memcpy(bak->x, &next.x, sizeof bak->x);
    std::memcpy(bak->p, next.p, sizeof bak->p);
    std::memcpy(bak->offset, &next.x, sizeof bak->offset);
    bak->radius = radius(next);
}

int32_t qvrlsm_update(qvrlsm_state *state, double m1, double m2, double m3)
{
    QVLOG_IF(state->cfg.endbg, "RLSM_RLSM_IN %f %f %f\n", m1, m2, m3);
    estimate next;
    if (!step(&next, load(state->bak), state->cfg.w, state->cfg.rn, {m1, m2, m3}))
        return -1;
    commit(&state->bak, next);
    update_stabled_status(state);
    return 0;
}

// Whether the judgements before the last one are seen: in debug lines, and in the error line of a window without
// length.
static bool each_judgement_is_seen(const qvrlsm_state &state)
{
    return state.cfg.endbg != 0 || state.routmaf.n_order < 1 || state.routmaf.n_item != QVMAF_ITEM_MAX;
}

void qvrlsm_update_all(qvrlsm_state *state, const qvcrd_vec3 *samples, int32_t n)
{
    if (each_judgement_is_seen(*state))
    {
        for (int32_t i = n - 1; i >= 0; --i)
            qvrlsm_update(state, samples[i].x, samples[i].y, samples[i].z);
        return;
    }

    double results[QVRLSM_LSM_MAX][QVMAF_ITEM_MAX];
    int32_t count = 0;
    estimate now = load(state->bak), next;
    for (int32_t i = n - 1; i >= 0; --i)
        if (step(&next, now, state->cfg.w, state->cfg.rn, samples[i]))
        {
            now = next;
            const double result[4] = {now.x[0], now.x[1], now.x[2], radius(now)};
            std::memcpy(results[count++], result, sizeof result);
        }
    if (count == 0)
        return;
    commit(&state->bak, now);
    qvmaf_push_all(&state->routmaf, results, count - 1); // the last is pushed with its judgement
    update_stabled_status(state);
}
