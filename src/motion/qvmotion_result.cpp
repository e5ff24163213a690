#include "motion/qvmotion.h"

#include "math/vec3.h"
#include "motion/qvmotion_extremes.h"
#include "platform/log.h"

static void extend(double *max, double *min, double value)
{
    if (value > *max)
        *max = value;
    if (value < *min)
        *min = value;
}

static void find_extremes(qvmotion_state *state, const qvcrd_vec3 *samples, int32_t n)
{
    qvcrd_vec3 max = QVMOTION_NO_MAX, min = QVMOTION_NO_MIN;
    for (int32_t left = n; left > 0; --left)
    {
        const qvcrd_vec3 &sample = samples[left - 1];
        extend(&max.x, &min.x, sample.x);
        extend(&max.y, &min.y, sample.y);
        extend(&max.z, &min.z, sample.z);
    }
    state->moving_max = max;
    state->moving_min = min;
}

static double ratio(double a, double b)
{
    return b == 0.0 ? 0.0 : a / b;
}

namespace
{
struct ratios
{
    double yz, xz, xy;
};
} // namespace

// Judges the spans. `failed` becomes the name of the first test that fails, for the log, or null when all pass.
static int32_t judge(const qvmotion_cfg &cfg, qvcrd_vec3 span, const ratios &r, const char **failed)
{
    const double low = 1.0 - cfg.senrate, high = 1.0 + cfg.senrate;
    const auto balanced = [=](double ratio) { return ratio >= low && ratio <= high; };

    *failed = "sensitivity_DIFF__min";
    if (!(span.x >= cfg.sendiffmin && span.y >= cfg.sendiffmin && span.z >= cfg.sendiffmin))
        return QVMOTION_RESULT__UNKNOWN;
    *failed = "sensitivity_RATE";
    if (!balanced(r.yz) && !balanced(r.xz) && !balanced(r.xy))
        return QVMOTION_RESULT__UNKNOWN;
    *failed = "sensitivity_DIFF__max";
    if (!(span.x <= cfg.sendiffmax && span.y <= cfg.sendiffmax && span.z <= cfg.sendiffmax))
        return QVMOTION_RESULT__NOISE2;
    *failed = nullptr;
    return QVMOTION_RESULT__READY;
}

int32_t qvmotion_get_result(qvmotion_state *state, const qvcrd_vec3 *samples, int32_t n)
{
    const qvmotion_cfg &cfg = state->cfg;
    QVLOG_IF(cfg.endbg, "QVMOTION motion_movement_pending = %x\n", state->motion_movement_pending);
    if (state->motion_movement_pending == 0)
        return QVMOTION_RESULT__UNKNOWN;

    find_extremes(state, samples, n);
    const qvcrd_vec3 span = state->moving_max - state->moving_min;
    const ratios r = {ratio(span.y, span.z), ratio(span.x, span.z), ratio(span.x, span.y)};
    const char *failed;
    state->motion_result = judge(cfg, span, r, &failed);
    if (cfg.endbg)
    {
        QVLOG("sensitivity_DIFF(%.3f %.3f %.3f [@ %.3f~%.3f])\n", span.x, span.y, span.z, cfg.sendiffmin,
              cfg.sendiffmax);
        QVLOG("sensitivity_RATE(%.3f %.3f %.3f [@ %.3f~%.3f])\n", r.yz, r.xz, r.xy, 1.0 - cfg.senrate,
              1.0 + cfg.senrate);
        if (failed != nullptr)
            QVLOG("%s [X]\n", failed);
    }
    return state->motion_result;
}
