#include "rlsm/qvrlsm.h"

#include "math/qvmtx.h"
#include "math/vec3.h"

namespace
{
struct normal_equations
{
    qvmtx n;     // A^T A
    double v[4]; // A^T b
};
} // namespace

static normal_equations sum_up(const qvcrd_vec3 *samples, int32_t count)
{
    normal_equations sums = {{4, 4, {}}, {}};
    for (int32_t s = 0; s < count; ++s)
    {
        const double row[4] = {samples[s].x, samples[s].y, samples[s].z, 1.0};
        const double b = norm_square(samples[s]);
        for (int32_t i = 0; i < 4; ++i)
        {
            for (int32_t j = 0; j < 4; ++j)
                sums.n.elements[i][j] += row[i] * row[j];
            sums.v[i] += row[i] * b;
        }
    }
    return sums;
}

int32_t qvrlsm_lsm(qvrlsm_state *result, const qvcrd_vec3 *samples, int32_t count)
{
    if (count > QVRLSM_LSM_MAX)
        return -1;

    const normal_equations equations = sum_up(samples, count);
    qvmtx inverse;
    if (qvmtx_inv(&inverse, &equations.n) != 0)
        return -1;

    double theta[4];
    for (int32_t i = 0; i < 4; ++i)
    {
        theta[i] = 0.0;
        for (int32_t j = 0; j < 4; ++j)
            theta[i] += inverse.elements[i][j] * equations.v[j];
    }
    for (int32_t i = 0; i < 3; ++i)
        result->bak.x[i] = theta[i] / 2.0;
    result->bak.x[3] = theta[3];
    return 0;
}
