#include "motion/qvmotion.h"

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
    for (int32_t i = n - 1; i >= 0; --i)
    {
        extend(&max.x, &min.x, samples[i].x);
        extend(&max.y, &min.y, samples[i].y);
        extend(&max.z, &min.z, samples[i].z);
    }
    state->moving_max = max;
    state->moving_min = min;
}

static double ratio(double a, double b)
{
    return b == 0.0 ? 0.0 : a / b;
}

// Without the log; the first test that fails names itself.
static int32_t judge(const qvmotion_cfg &cfg, qvcrd_vec3 span, const char **failed)
{
    const double low = 1.0 - cfg.senrate, high = 1.0 + cfg.senrate;
    const auto balanced = [=](double r) { return r >= low && r <= high; };

    *failed = "sensitivity_DIFF__min";
    if (!(span.x >= cfg.sendiffmin && span.y >= cfg.sendiffmin && span.z >= cfg.sendiffmin))
        return QVMOTION_RESULT__UNKNOWN;
    *failed = "sensitivity_RATE";
    if (!balanced(ratio(span.y, span.z)) && !balanced(ratio(span.x, span.z)) && !balanced(ratio(span.x, span.y)))
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
    const qvcrd_vec3 span = qvcrd_sub(state->moving_max, state->moving_min);
    const char *failed;
    state->motion_result = judge(cfg, span, &failed);
    if (cfg.endbg)
    {
        QVLOG("sensitivity_DIFF(%.3f %.3f %.3f [@ %.3f~%.3f])\n", span.x, span.y, span.z, cfg.sendiffmin,
              cfg.sendiffmax);
        QVLOG("sensitivity_RATE(%.3f %.3f %.3f [@ %.3f~%.3f])\n", ratio(span.y, span.z), ratio(span.x, span.z),
              ratio(span.x, span.y), 1.0 - cfg.senrate, 1.0 + cfg.senrate);
        if (failed != nullptr)
            QVLOG("%s [X]\n", failed);
    }
    return state->motion_result;
}
