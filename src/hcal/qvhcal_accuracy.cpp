#include "hcal/qvhcal_steps.h"

#include "math/vec3.h"
#include "platform/log.h"

#include <cmath>

static constexpr double DEGREES_PER_RADIAN = (double)57.296f; // single precision, not 180/pi: grades depend on it

// A grade changes only this far beyond its bound.
static constexpr double HYSTERESIS = 1.0; // microtesla

namespace
{
struct reading
{
    double norm;           // microtesla, of this cycle
    double filtered_norm;  // microtesla
    double filtered_angle; // degrees from the z axis
    double distance;       // microtesla, filtered norm to published radius
};
} // namespace

static bool take_reading(reading *r, qvhcal_state *state, qvcrd_vec3 field)
{
    r->norm = norm(field);
    const double angle =
        r->norm > 0.0 ? std::asin(std::sqrt(field.x * field.x + field.y * field.y) / r->norm) * DEGREES_PER_RADIAN
                      : 0.0;
    double average[2] = {r->norm, angle};
    if (qvmaf_get_n_order(&state->amaf) >= 2 && qvmaf_run(&state->amaf, average, average) != 0)
        return false;
    r->filtered_norm = average[0];
    r->filtered_angle = average[1];
    r->distance = std::fabs(r->filtered_norm - state->status.rep_radius);
    return true;
}

static int32_t grade_at(const qvhcal_cfg &cfg, double distance, double delta)
{
    for (int32_t i = 2; i >= 0; --i)
        if (distance < cfg.accuracy[i] + delta)
            return QV6D_GRADE_LOW + i;
    return QV6D_GRADE_UNRELIABLE;
}

static int32_t grade_with_hysteresis(const qvhcal_cfg &cfg, double distance, int32_t previous)
{
    const int32_t grade = grade_at(cfg, distance, 0.0);
    if (grade == previous)
        return grade;
    return grade_at(cfg, distance, grade > previous ? -HYSTERESIS : HYSTERESIS);
}

static int32_t apply_policy(qvhcal_state *state, double distance, double angle, int32_t grade, bool calibrated)
{
    const int32_t mask = state->cfg.incmask;
    if ((mask & QV6D_POLICY_POLAR_ANGLE) != 0 && angle < state->cfg.rinclination)
        grade -= 1;
    else if ((mask & QV6D_POLICY_TRUST_FIT) != 0 && calibrated)
        grade = QV6D_GRADE_BEST;

    if ((mask & QV6D_POLICY_CLEAR_RADIUS) != 0 && calibrated)
    {
        if (distance > state->cfg.clearradius && state->clearchecked == 0)
        {
            qvhcal_clear(state);
            grade = QV6D_GRADE_UNRELIABLE;
        }
        state->clearchecked = 1;
    }
    return grade;
}

static int32_t grade_of_state(qvhcal_state *state, double distance, double angle, int32_t raw)
{
    const qvhcal_status &status = state->status;
    if (status.calibrated == 1)
    {
        if (raw != QV6D_GRADE_UNRELIABLE)
            return apply_policy(state, distance, angle, raw, true);
        qvhcal_clear(state);
        return QV6D_GRADE_UNRELIABLE;
    }

    // Before an offset is validated the grade tells how far the sequence of READY buffers has come.
    const int32_t wanted = state->cfg.readycnt;
    if (status.readycnt < wanted / 2 || status.dummycnt != 0)
        return QV6D_GRADE_UNRELIABLE;
    const bool complete = status.readycnt >= wanted || status.rep_accuracy == QV6D_GRADE_MEDIUM;
    return apply_policy(state, distance, angle, complete ? QV6D_GRADE_MEDIUM : QV6D_GRADE_LOW, false);
}

int32_t qvhcal_grade(qvhcal_state *state, double distance, double angle, int32_t *raw)
{
    *raw = grade_with_hysteresis(state->cfg, distance, state->status.rep_accuracy);
    return grade_of_state(state, distance, angle, *raw);
}

int32_t update_accuracy(qvhcal_state *state, qvcrd_vec3 field)
{
    reading r;
    if (!take_reading(&r, state, field))
        return QV6D_GRADE_UNRELIABLE;

    int32_t raw;
    const int32_t grade = qvhcal_grade(state, r.distance, r.filtered_angle, &raw);
    QVLOG_IF(state->cfg.endbg, "update_accuracy (%.3f:%.3f)-(%.3f)=%.3f  %d(%d) %.3f(<%.3f) %d\n", r.norm,
             r.filtered_norm, state->status.rep_radius, r.distance, grade, raw, r.filtered_angle,
             state->cfg.rinclination, state->clearchecked);
    return grade;
}
