#include "hcal/qvhcal.h"

#include "platform/log.h"

#include <algorithm>
#include <cmath>

// Mean and value of a smoother that has seen nothing: more than any field of the earth.
static constexpr double UNSEEDED = 5000.0;

// Inertia of the output: at WEIGHT_MAX it stands still.
static constexpr double WEIGHT_MIN = 10.0;
static constexpr double WEIGHT_MAX = 300.0;

// Limits of the noise estimate, microtesla. The band is twice the estimate to each side.
static constexpr double DEV_MIN = (double)0.1f; // single precision: outputs depend on it
static constexpr double DEV_MAX = 0.5;

namespace
{
struct smoother
{
    double mean = UNSEEDED;  // running pair average of the input
    double value = UNSEEDED; // output
    double weight = WEIGHT_MAX;
    double dev = DEV_MAX;
};
} // namespace

static smoother expo[3]; // x, y, z

void exponential_init(void)
{
    std::fill_n(expo, 3, smoother{});
}

static void smooth(smoother *s, double input)
{
    s->mean = (input + s->mean) * 0.5;
    const double dev = std::fabs(s->value - s->mean);
    const bool inside = dev < 2.0 * s->dev;
    s->weight = std::clamp(s->weight + (inside ? 1.0 : -1.0), WEIGHT_MIN, WEIGHT_MAX);
    s->value = (s->value * s->weight + s->mean * (WEIGHT_MAX - s->weight)) / WEIGHT_MAX;
    if (inside)
        s->dev = std::clamp(std::sqrt((s->dev * s->dev * 99.0 + dev * dev) / 100.0), DEV_MIN, DEV_MAX);
}

qvcrd_vec3 exponential_smothing(const qvhcal_state *state, double x, double y, double z)
{
    const double input[3] = {x, y, z};
    // The x axis marks an unseeded smoother for all three.
    if (expo[0].mean == UNSEEDED && expo[0].value == UNSEEDED)
        for (int32_t axis = 0; axis < 3; ++axis)
            expo[axis].mean = expo[axis].value = input[axis];

    for (int32_t axis = 0; axis < 3; ++axis)
        smooth(&expo[axis], input[axis]);
    QVLOG_IF(state->cfg.endbg, "expo_smooth1 %.3f, %.3f, %.3f, %.3f, %.3f, %.3f, %.3f, %.3f, %.3f, %.3f, %.3f, %.3f\n",
             expo[0].dev, expo[1].dev, expo[2].dev, expo[0].weight, expo[1].weight, expo[2].weight, expo[0].mean,
             expo[1].mean, expo[2].mean, expo[0].value, expo[1].value, expo[2].value);
    return {expo[0].value, expo[1].value, expo[2].value};
}
