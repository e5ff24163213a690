#include "sensor_service.h"

namespace soak
{

namespace
{

constexpr double GYROSCOPE_THRESHOLD = 0.5; // rad/s

vec3f narrow(const Eigen::Vector3d &v)
{
    return {static_cast<float>(v.x()), static_cast<float>(v.y()), static_cast<float>(v.z())};
}

} // namespace

bool sensor_service::meet(const moment &now)
{
    if (now.service == incident::none && now.k != 0)
        return false;
    if (now.service == incident::restart || now.service == incident::reinit)
        end();
    if (now.service == incident::restart || now.service == incident::crash)
        library_.reload();
    return start({now.gyroscope ? GYROSCOPE_THRESHOLD : 0.0});
}

// What was learnt is reused when, and only when, the settings are those of the start before.
bool sensor_service::start(const settings &chosen)
{
    ++starts_;
    bad_starts_ += library_.start(chosen) ? 0 : 1;
    expected_ = stored_ == chosen ? saved_ : offset{};
    stored_ = settings_ = chosen;
    return *expected_ != last_;
}

answer sensor_service::measure(const moment &now)
{
    const std::int64_t t_ns = now.k * (1000000000 / RATE);
    const sample measured = {t_ns, narrow(now.acc), narrow(now.gyr), narrow(now.mag)};
    const answer got = library_.feed(measured, settings_.gyrthr > 0.0);
    last_ = got.offset;
    if (expected_ && *expected_ != last_)
        ++bad_starts_;
    expected_.reset();
    return got;
}

void sensor_service::end()
{
    library_.end();
    saved_ = last_;
}

} // namespace soak
