#include "library/service.h"

#include "api/qvs_start.h"
#include "common/error.h"
#include "qv6dalgo.h"
#include "storage/qvstorage_object.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fmt/format.h>
#include <unistd.h>

namespace qv6d
{

namespace
{

qvs_sample sample_of(const event &e)
{
    return {e.t_ns, e.x, e.y, e.z, 0};
}

} // namespace

service::service(const service_settings &settings) : settings_(settings)
{
    if (chdir(settings.state_dir.c_str()) != 0)
        throw error(EXIT_OUTPUT, fmt::format("{}: cannot be entered: {}", settings.state_dir, std::strerror(errno)));
    if (settings.debug)
        qvalgo_config_debug(1);
    // Relative to the state directory: the library keeps paths of at most 63 characters, and a changed path would make
    // it discard a stored calibration when the directory is moved.
    if (qvs_start(QV6D_INIT_CUSTCFG_NAME, QV6D_INIT_CFGBAK_NAME, QV6D_INIT_DATBAK_NAME) != 0)
        throw error(EXIT_OUTPUT, fmt::format("{}: cannot be written", kept(qvstorage_object.env.cfg.cfgbak)));
}

// A path of the configuration as seen from outside the state directory.
std::string service::kept(const char *path) const
{
    return (std::filesystem::path(settings_.state_dir) / path).string();
}

void service::feed(const event &e)
{
    const qvs_sample sample = sample_of(e);
    if (e.kind == sensor::acc)
    {
        MAG_LIB_API_INTERFACE.caliApiSetAccData(&sample);
        return;
    }
    MAG_LIB_API_INTERFACE.caliApiSetGyroData(&sample);
    if (settings_.notify_gyro)
    {
        const double rates[3] = {e.x, e.y, e.z};
        qvalgo_notify_data(QV6D_SENSOR_GYROSCOPE, rates, static_cast<double>(e.t_ns) / 1e9);
    }
}

sample_result service::measure(const event &e)
{
    qvs_sample sample = sample_of(e);
    if (!settings_.counts)
    {
        sample.x /= QV6D_MICROTESLA_PER_COUNT;
        sample.y /= QV6D_MICROTESLA_PER_COUNT;
        sample.z /= QV6D_MICROTESLA_PER_COUNT;
    }
    const qvs_interface &api = MAG_LIB_API_INTERFACE;
    qvs_calibration calibration = {};
    qvs_output orientation = {};
    sample_result result = {};
    api.doCaliApi(&sample, &calibration);
    api.caliApiSetMagData(&sample);
    api.caliApiGetOffset(result.offset);
    api.getOrientation(&orientation);

    result.t_ns = e.t_ns;
    for (int axis = 0; axis < 3; ++axis)
        result.calibrated[axis] = calibration.calibrated[axis];
    result.radius = algo_out_hcal.radius;
    result.grade = calibration.accuracy;
    result.validated = qvstorage_object.hcal.status.calibrated == 1;
    result.azimuth = orientation.x;
    result.pitch = orientation.y;
    result.roll = orientation.z;
    return result;
}

void service::finish()
{
    qvalgo_term(); // says nothing of a failure: what was saved is read back
    qvstorage_bak saved;
    const char *path = qvstorage_object.env.cfg.datbak;
    if (load_file_bak(&saved, path) != 0)
        throw error(EXIT_OUTPUT, fmt::format("{}: cannot be written, what was learnt is lost", kept(path)));
}

} // namespace qv6d
