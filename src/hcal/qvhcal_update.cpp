#include "hcal/qvhcal_steps.h"

#include "math/vec3.h"
#include "platform/log.h"

#include <algorithm>

// Logs a line of a step under the name of the cycle.
static void say(const qvhcal_state &state, const char *text)
{
    if (state.cfg.endbg)
        QVLOG_AS("qvhcal_update", "%s\n", text);
}

void push_rawuT(qvhcal_state *state, double x, double y, double z)
{
    const int32_t size = state->cfg.rbufsize;
    const int32_t count = state->rbufcnt >= size ? size : state->rbufcnt + 1;
    if (count > 1)
        std::copy_backward(state->rbuf, state->rbuf + (count - 1), state->rbuf + count);
    state->rbuf[0] = {x, y, z};
    state->rbufcnt = count;
}

int32_t get_valid_offset(qvhcal_state *state, qvcrd_vec3 *valid_offset, double *valid_radius, qvcrd_vec3 offset,
                         double radius)
{
    if (state->status.readycnt < state->cfg.readycnt)
        return -1;
    *valid_offset = offset;
    *valid_radius = radius;
    state->status.calibrated = 1;
    return 0;
}

void qvhcal_take_movement(qvhcal_state *state, int32_t movement)
{
    state->status.motion_movement = movement;
    switch (movement)
    {
    case QVMOTION_MOVEMENT__MOVING:
        say(*state, "QVMOTION_MOVEMENT__MOVING");
        break;
    case QVMOTION_MOVEMENT__NOISE1:
        qvhcal_clear(state);
        say(*state, "QVMOTION_MOVEMENT__NOISE1");
        break;
    default:
        say(*state, "QVMOTION_MOVEMENT__STABLE");
        break;
    }
}

static int32_t fit(qvhcal_state *state)
{
    qvhcal_status &status = state->status;
    // The limit is tested before the increment: a restored count can be the largest integer.
    status.readycnt = status.readycnt >= state->cfg.readycnt ? state->cfg.readycnt : status.readycnt + 1;

    qvcrd_vec3 estimated = {}, valid = {};
    double estimated_radius = 0.0, valid_radius = 0.0;
    int32_t result = estimate_offset(state, &estimated, &estimated_radius);
    if (result == 0)
        result = get_valid_offset(state, &valid, &valid_radius, estimated, estimated_radius);
    if (result == 0)
    {
        store_vec3(status.rep_offset, valid);
        status.rep_radius = valid_radius;
    }
    state->rbufcnt /= 2; // the newest half goes on
    return result;
}

static int32_t evaluate_full_buffer(qvhcal_state *state)
{
    qvhcal_status &status = state->status;
    status.motion_result = qvmotion_get_result(&state->motion, state->rbuf, state->rbufcnt);
    switch (status.motion_result)
    {
    case QVMOTION_RESULT__READY:
        if (status.dummycnt >= 1)
        {
            status.dummycnt -= 1;
            status.motion_result = QVMOTION_RESULT__UNKNOWN;
            state->rbufcnt = 1;
            say(*state, "QVMOTION_RESULT__READY->UNKNOWN(DUMMY)");
            return -1;
        }
        say(*state, "QVMOTION_RESULT__READY");
        return fit(state);
    case QVMOTION_RESULT__NOISE2:
        qvhcal_clear(state);
        say(*state, "QVMOTION_RESULT__NOISE2");
        return -1;
    default:
        say(*state, "QVMOTION_RESULT__UNKNOWN");
        state->rbufcnt = 1;
        return -1;
    }
}

int32_t qvhcal_evaluate(qvhcal_state *state)
{
    state->status.motion_result = QVMOTION_RESULT__NOISE2; // while the buffer fills
    return state->rbufcnt < state->cfg.rbufsize ? -1 : evaluate_full_buffer(state);
}

qvcrd_vec3 qvhcal_cancel(qvhcal_state *state, qvcrd_vec3 field)
{
    const qvcrd_vec3 removed = field - load_vec3(state->status.rep_offset);
    const qvcrd_vec3 canceled = exponential_smothing(state, removed.x, removed.y, removed.z);
    store_vec3(state->status.canceled, canceled);
    return canceled;
}

void qvhcal_publish(qvhcal_state *state, qvcrd_vec3 field, int32_t grade)
{
    qvhcal_status &status = state->status;
    // A rising grade without a validated offset publishes the estimator's present solution.
    if (grade > status.rep_accuracy && status.calibrated == 0)
    {
        store_vec3(status.rep_offset, qvrlsm_get_offset(&state->rlsm));
        status.rep_radius = qvrlsm_get_radius(&state->rlsm);
    }
    status.rep_accuracy = grade;
    store_vec3(status.uncanceled, field);
    store_vec3(status.enholicoff, {0.0, 0.0, 0.0});
}

static void log_cycle(const qvhcal_state &state)
{
    if (!state.cfg.endbg)
        return;
    const qvhcal_status &s = state.status;
    QVLOG_AS("qvhcal_update", "hcal_out %f %f %f, %f %f %f %f, %f %f %f %f, %d, %d, %d %d\n", s.uncanceled[0],
             s.uncanceled[1], s.uncanceled[2], s.rep_offset[0], s.rep_offset[1], s.rep_offset[2], s.rep_radius,
             s.canceled[0], s.canceled[1], s.canceled[2], norm(load_vec3(s.canceled)), s.rep_accuracy, s.readycnt,
             s.motion_movement, s.motion_result);
    say(state, QVLOG_DASHES "---"); // 75 dashes: tells the cycles from the displayed sections
}

int32_t qvhcal_update(qvhcal_state *state, int32_t gyrlevel, double x, double y, double z, double gyrthr)
{
    int32_t result = 0;
    if (state->cfg.rbufsize == 0)
    {
        store_vec3(state->status.uncanceled, {x, y, z});
        store_vec3(state->status.canceled, {x, y, z});
    }
    else
    {
        push_rawuT(state, x, y, z);
        qvhcal_take_movement(state,
                             qvmotion_get_movement(&state->motion, state->rbuf, state->rbufcnt, gyrlevel, gyrthr));
        result = qvhcal_evaluate(state);
        qvhcal_publish(state, {x, y, z}, update_accuracy(state, qvhcal_cancel(state, {x, y, z})));
    }
    log_cycle(*state);
    return result;
}
