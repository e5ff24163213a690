#include "rlsm/qvrlsm.h"

#include "math/vec3.h"

namespace
{
struct normal_equations
{
    double n[4][4]; // A^T A
    double v[4];    // A^T b
};
} // namespace

static normal_equations sum_up(const qvcrd_vec3 *samples, int32_t count)
{
    normal_equations sums = {};
    for (int32_t s = 0; s < count; ++s)
    {
        const double row[4] = {samples[s].x, samples[s].y, samples[s].z, 1.0};
        const double b = norm_square(samples[s]);
        for (int32_t i = 0; i < 4; ++i)
        {
            for (int32_t j = 0; j < 4; ++j)
                sums.n[i][j] += row[i] * row[j];
            sums.v[i] += row[i] * b;
        }
    }
    return sums;
}

static void subtract_row(double row[4], double factor, const double from[4])
{
    for (int32_t j = 0; j < 4; ++j)
        row[j] -= factor * from[j];
}

// Gauss-Jordan without row exchanges; false at a pivot of exactly 0.0. Destroys n.
static bool invert(double inverse[4][4], double n[4][4])
{
    for (int32_t i = 0; i < 4; ++i)
        for (int32_t j = 0; j < 4; ++j)
            inverse[i][j] = i == j ? 1.0 : 0.0;

    for (int32_t k = 0; k < 4; ++k)
    {
        const double pivot = n[k][k];
        if (pivot == 0.0)
            return false;
        for (int32_t j = 0; j < 4; ++j)
        {
            n[k][j] /= pivot;
            inverse[k][j] /= pivot;
        }
        for (int32_t i = 0; i < 4; ++i)
        {
            if (i == k)
                continue;
            const double factor = n[i][k];
            subtract_row(n[i], factor, n[k]);
            subtract_row(inverse[i], factor, inverse[k]);
        }
    }
    return true;
}

int32_t qvrlsm_lsm(qvrlsm_state *result, const qvcrd_vec3 *samples, int32_t count)
{
    if (count > QVRLSM_LSM_MAX)
        return -1;

    normal_equations equations = sum_up(samples, count);
    double inverse[4][4];
    if (!invert(inverse, equations.n))
        return -1;

    double theta[4];
    for (int32_t i = 0; i < 4; ++i)
    {
        theta[i] = 0.0;
        for (int32_t j = 0; j < 4; ++j)
            theta[i] += inverse[i][j] * equations.v[j];
    }
    for (int32_t i = 0; i < 3; ++i)
        result->bak.x[i] = theta[i] / 2.0;
    result->bak.x[3] = theta[3];
    return 0;
}
