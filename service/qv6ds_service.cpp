#include "qv6ds_service.h"

#include "qv6ds_settings.h"
#include "qv6ds_units.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <unistd.h>

using namespace qv6ds_math;

static constexpr int64_t TOLD_FOR = SECOND; // how long a refused sample stays among the reasons
static constexpr int32_t WORK_MAX = 64;     // fields worked on in one call, so that none takes long
static constexpr int64_t NEVER = INT64_MIN;
static constexpr int64_t TIME_MAX = int64_t{1} << 61; // ns: differences and sums of such times are none too large

static constexpr double FORCE_RANGE = 160.0, TURN_RANGE = 100.0; // m/s², rad/s: sensors end before

static constexpr const char *CUSTOMER_FILE = "qvalgo-cust.cfg";

// After a clock was set nothing is compared with a time before.
static void forget_times(qv6ds *service)
{
    qv6ds_guard_forget_time(&service->guard);
    qv6ds_trust_forget_time(&service->trust);
    service->attitude.any = false;
    service->learner.any = false;
    service->refused_at = service->mistimed_at = NEVER;
    qv6ds_saver_forget_time(&service->saver);
}

static bool is_same(const matrix &a, const matrix &b)
{
    return std::memcmp(&a, &b, sizeof a) == 0;
}

static void resume(qv6ds *service)
{
    qv6ds_kept kept;
    if (!qv6ds_saver_load(&service->saver, &kept))
        return;
    if (!is_same(kept.mount, service->mount[QV6DS_MAGNETOMETER]) || !is_same(kept.soft_iron, service->soft_iron) ||
        !qv6ds_learner_resume(&service->learner, &kept.cfg, &kept.bak))
    {
        qv6ds_saver_say(&service->saver, "%s: learnt under other settings, not resumed", service->saver.directory);
        return;
    }
    qv6ds_trust_resume(&service->trust, kept.samples, kept.noise);
    qv6ds_saver_keep(&service->saver, kept);
    const qv6ds_fit &fit = service->trust.trusted;
    qv6ds_saver_say(&service->saver, "resumed: bias %.2f %.2f %.2f, error %.2f", fit.centre.x, fit.centre.y,
                    fit.centre.z, fit.error);
}

static qv6ds_state first_state()
{
    qv6ds_state state = {};
    state.reasons = QV6DS_TURN;
    state.bias_error = std::numeric_limits<float>::infinity();
    state.heading_error = 180.0f;
    state.quaternion[3] = 1.0f;
    return state;
}

// The one that is named, or that of the directory if there is one; null for none.
static const char *customer_file_of(const qv6ds_settings &settings, char (&path)[PATH_MAX + 32])
{
    if (settings.customer_file != nullptr)
        return settings.customer_file;
    if (settings.directory == nullptr || *settings.directory == '\0')
        return nullptr;
    std::snprintf(path, sizeof path, "%s/%s", settings.directory, CUSTOMER_FILE);
    return access(path, F_OK) == 0 ? path : nullptr;
}

void qv6ds_service_begin(qv6ds *service, const qv6ds_settings &settings)
{
    char path[PATH_MAX + 32];
    qv6ds_saver_begin(&service->saver, settings, &service->mutex);
    const char *customer_file = customer_file_of(settings, path);
    if (customer_file != nullptr && access(customer_file, R_OK) != 0)
        qv6ds_saver_say(&service->saver, "%s: cannot be read: %s", customer_file, std::strerror(errno));
    qv6ds_timeline_start(&service->timeline, settings.wait_ns, settings.wait_for_gyroscope != 0);
    qv6ds_guard_start(&service->guard, static_cast<double>(settings.field_range));
    qv6ds_learner_start(&service->learner, settings.learn_hz, customer_file);
    qv6ds_trust_start(&service->trust);
    qv6ds_attitude_start(&service->attitude);
    service->timeline.drift = {};
    for (int i = 0; i < 3; ++i)
        service->mount[i] = qv6ds_settings_matrix(settings.mount[i]);
    if (!qv6ds_settings_soft_iron(settings, service->learner.storage.cfg.env, &service->soft_iron))
        qv6ds_saver_say(&service->saver, "%s: env.simtx is no soft-iron matrix, left out", customer_file);
    service->place = {};
    service->state = first_state();
    service->refused = 0;
    forget_times(service);
    resume(service);
}

static void keep_good(qv6ds *service, const qv6ds_judgement &judgement, int64_t time)
{
    constexpr uint32_t bad = QV6DS_DISTURBED | QV6DS_JUMPED | QV6DS_RESUMED | QV6DS_OTHER_FIELD;
    if (judgement.status < 2 || (judgement.reasons & bad) != 0 || !service->trust.trusted.good)
        return;
    qv6ds_kept good = {};
    qv6ds_learner_learnt(&service->learner, &good.cfg, &good.bak);
    good.samples = service->trust.trusted_samples;
    good.noise = service->trust.noise;
    good.mount = service->mount[QV6DS_MAGNETOMETER];
    good.soft_iron = service->soft_iron;
    qv6ds_saver_offer(&service->saver, good, time);
}

static void copy(float to[3], vec v)
{
    to[0] = static_cast<float>(v.x);
    to[1] = static_cast<float>(v.y);
    to[2] = static_cast<float>(v.z);
}

static void publish(qv6ds *service, const qv6ds_sample &sample, vec raw, const qv6ds_judgement &judgement,
                    const qv6ds_heading &heading)
{
    qv6ds_state *state = &service->state;
    state->time_ns = sample.time;
    state->status = judgement.status;
    state->reasons = judgement.reasons | heading.reasons;
    copy(state->raw, raw);
    copy(state->bias, judgement.bias);
    copy(state->field, sample.field - judgement.bias);
    state->radius = static_cast<float>(judgement.radius);
    state->bias_error = static_cast<float>(judgement.error);
    copy(state->quaternion, {heading.to_world.x, heading.to_world.y, heading.to_world.z});
    state->quaternion[3] = static_cast<float>(heading.to_world.w);
    state->azimuth = static_cast<float>(heading.azimuth);
    state->pitch = static_cast<float>(heading.pitch);
    state->roll = static_cast<float>(heading.roll);
    state->heading_error = static_cast<float>(heading.error);
    if (state->azimuth >= 360.0f) // rounded up
        state->azimuth = 0.0f;
}

static void work_on(qv6ds *service, qv6ds_sample sample)
{
    const vec raw = sample.field;
    sample.field = service->soft_iron * raw;
    qv6ds_trust_follow(&service->trust, sample);
    if (sample.jumped)
        qv6ds_learner_restart(&service->learner);
    const bool learns = qv6ds_learner_takes(&service->learner, sample.time);
    if (learns)
    {
        qv6ds_learner_learn(&service->learner, sample.field);
        qv6ds_trust_learn(&service->trust, sample);
    }
    const vec offset = qv6ds_learner_offset(&service->learner);
    const qv6ds_judgement judgement =
        qv6ds_judge(&service->trust, sample.time, service->learner.validated ? &offset : nullptr, &service->place);
    const qv6ds_heading heading =
        qv6ds_attitude_update(&service->attitude, sample, judgement, service->trust.noise, service->place);
    service->timeline.drift = service->attitude.drift;
    publish(service, sample, raw, judgement, heading);
    if (learns)
        keep_good(service, judgement, sample.time);
    qv6ds_saver_look(&service->saver, sample.time);
}

void qv6ds_service_work(qv6ds *service, bool now)
{
    qv6ds_sample sample, let[qv6ds_guard::HELD_MAX + 1];
    for (int32_t i = 0; (now || i < WORK_MAX) && qv6ds_timeline_next(&service->timeline, now, &sample); ++i)
    {
        const int32_t count = qv6ds_guard_pass(&service->guard, sample, let);
        if (service->guard.refused != service->refused)
            service->refused_at = sample.time;
        service->refused = service->guard.refused;
        for (int32_t k = 0; k < count; ++k)
            work_on(service, let[k]);
    }
}

// A field goes on to the guard, which counts and compares; the two others are only looked at here.
static bool is_usable(qv6ds_sensor sensor, vec value)
{
    return sensor == QV6DS_MAGNETOMETER || norm(value) <= (sensor == QV6DS_GYROSCOPE ? TURN_RANGE : FORCE_RANGE);
}

void qv6ds_service_put(qv6ds *service, qv6ds_sensor sensor, int64_t time, vec value)
{
    const vec turned = service->mount[sensor] * value;
    if (!is_usable(sensor, turned))
    {
        service->refused_at = service->timeline.worked_until;
        return;
    }
    const qv6ds_taken taken = time >= -TIME_MAX && time <= TIME_MAX
                                  ? qv6ds_timeline_put(&service->timeline, sensor, time, turned)
                                  : qv6ds_taken::refused;
    if (taken == qv6ds_taken::refused)
        service->mistimed_at = service->timeline.worked_until;
    if (taken == qv6ds_taken::clock_set)
        forget_times(service);
    if (taken == qv6ds_taken::clock_set || taken == qv6ds_taken::ahead)
        service->mistimed_at = time;
    qv6ds_service_work(service, false);
}

static bool is_recent(int64_t at, int64_t now)
{
    return at != NEVER && now - at < TOLD_FOR;
}

qv6ds_state qv6ds_service_state(const qv6ds *service)
{
    qv6ds_state now = service->state;
    if (qv6ds_timeline_waits(&service->timeline))
        now.reasons |= QV6DS_WAITING;
    if (is_recent(service->refused_at, service->timeline.worked_until))
        now.reasons |= QV6DS_REFUSED;
    if (is_recent(service->mistimed_at, service->timeline.worked_until))
        now.reasons |= QV6DS_TIME;
    if (service->saver.failed)
        now.reasons |= QV6DS_NOT_SAVED;
    return now;
}
