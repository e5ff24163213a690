#include "rlsm/qvrlsm.h"

#include "math/vec3.h"
#include "platform/log.h"

#include <cmath>

namespace
{
struct estimate
{
    double x[4];
    double p[4][4];
};
} // namespace

static double dot(const double *a, const double *b)
{
    double sum = 0.0;
    for (int32_t i = 0; i < 4; ++i)
        sum += a[i] * b[i];
    return sum;
}

// (I - K phi^T) * (P / w²), each element of P divided before the product is formed.
static void next_covariance(double next[4][4], const double gain[4], const double phi[4], const double p[4][4],
                            double w)
{
    double m[4][4], scaled[4][4];
    for (int32_t i = 0; i < 4; ++i)
        for (int32_t j = 0; j < 4; ++j)
        {
            m[i][j] = (i == j ? 1.0 : 0.0) - gain[i] * phi[j];
            scaled[i][j] = p[i][j] / (w * w);
        }
    for (int32_t i = 0; i < 4; ++i)
        for (int32_t j = 0; j < 4; ++j)
        {
            double sum = 0.0;
            for (int32_t k = 0; k < 4; ++k)
                sum += m[i][k] * scaled[k][j];
            next[i][j] = sum;
        }
}

static bool has_no_nan(const estimate &e)
{
    for (int32_t i = 0; i < 4; ++i)
    {
        if (std::isnan(e.x[i]))
            return false;
        for (int32_t j = 0; j < 4; ++j)
            if (std::isnan(e.p[i][j]))
                return false;
    }
    return true;
}

static bool step(estimate *next, const estimate &now, double w, double rn, qvcrd_vec3 sample)
{
    const double y = norm_square(sample);
    const double phi[4] = {2.0 * sample.x, 2.0 * sample.y, 2.0 * sample.z, 1.0};

    double h[4];
    for (int32_t i = 0; i < 4; ++i)
        h[i] = dot(now.p[i], phi);
    const double s = dot(phi, h) + w * w * rn;
    if (s == 0.0 || w == 0.0)
        return false;

    // The gain is P * (phi / s), not (P * phi) / s: the two differ in the last bit.
    const double innovation = y - dot(phi, now.x);
    const double g[4] = {phi[0] / s, phi[1] / s, phi[2] / s, phi[3] / s};
    double gain[4];
    for (int32_t i = 0; i < 4; ++i)
        gain[i] = dot(now.p[i], g);

    for (int32_t i = 0; i < 4; ++i)
        next->x[i] = now.x[i] + gain[i] * innovation;
    next_covariance(next->p, gain, phi, now.p, w);
    return has_no_nan(*next);
}

static void commit(qvrlsm_bak *bak, const estimate &next)
{
    for (int32_t i = 0; i < 4; ++i)
    {
        bak->x[i] = next.x[i];
        for (int32_t j = 0; j < 4; ++j)
            bak->p[i][j] = next.p[i][j];
    }
    for (int32_t i = 0; i < 3; ++i)
        bak->offset[i] = next.x[i];
    bak->radius = std::sqrt(next.x[3] + norm_square(load_vec3(next.x)));
}

int32_t qvrlsm_update(qvrlsm_state *state, double m1, double m2, double m3)
{
    QVLOG_IF(state->cfg.endbg, "RLSM_RLSM_IN %f %f %f\n", m1, m2, m3);

    estimate now, next;
    for (int32_t i = 0; i < 4; ++i)
    {
        now.x[i] = state->bak.x[i];
        for (int32_t j = 0; j < 4; ++j)
            now.p[i][j] = state->bak.p[i][j];
    }
    if (!step(&next, now, state->cfg.w, state->cfg.rn, {m1, m2, m3}))
        return -1;

    commit(&state->bak, next);
    update_stabled_status(state);
    return 0;
}
