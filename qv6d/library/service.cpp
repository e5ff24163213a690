#include "library/service.h"

#include "api/qvs_start.h"
#include "common/error.h"
#include "library/library_log.h"
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

// Where the files lie is the caller's to say, and never the customer file's, which may come from anywhere. The library
// writes a line after it has read that file and before it opens any other: at each line the names are put back.
class start_watch
{
public:
    start_watch()
    {
        set_log_watch([this](const log_entry &line) { take(line); });
    }

    ~start_watch()
    {
        set_log_watch(nullptr);
    }

    start_watch(const start_watch &) = delete;
    start_watch &operator=(const start_watch &) = delete;

    const log_watch &heard() const
    {
        return heard_;
    }

private:
    void take(const log_entry &line)
    {
        qvenv_cfg &names = qvstorage_object.cfg.env;
        std::strcpy(names.custcfg, QV6D_INIT_CUSTCFG_NAME);
        std::strcpy(names.cfgbak, QV6D_INIT_CFGBAK_NAME);
        std::strcpy(names.datbak, QV6D_INIT_DATBAK_NAME);
        heard_.take(line);
    }

    log_watch heard_;
};

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
    start();
}

// A path of the configuration as seen from outside the state directory.
std::string service::kept(const char *path) const
{
    return (std::filesystem::path(settings_.state_dir) / path).string();
}

void service::fail_to_write(const char *name, const char *consequence) const
{
    throw error(EXIT_OUTPUT, fmt::format("{}: cannot be written{}", kept(name), consequence));
}

void service::start()
{
    const start_watch watch;
    qvstorage_cfg cfg;
    qvstorage_bak bak;
    const bool has_cfg = load_file_cfg(&cfg, QV6D_INIT_CFGBAK_NAME) == 0,
               has_bak = load_file_bak(&bak, QV6D_INIT_DATBAK_NAME) == 0,
               has_cust = std::filesystem::exists(QV6D_INIT_CUSTCFG_NAME);
    // Relative to the state directory: the library keeps paths of at most 63 characters, and a changed path would make
    // it discard a stored calibration when the directory is moved.
    if (qvs_start(QV6D_INIT_CUSTCFG_NAME, QV6D_INIT_CFGBAK_NAME, QV6D_INIT_DATBAK_NAME) != 0 ||
        load_file_cfg(&cfg, QV6D_INIT_CFGBAK_NAME) != 0)
        fail_to_write(QV6D_INIT_CFGBAK_NAME, "");

    // The library goes on without a file that it cannot read, as if there were none. What it then learnt and kept would
    // be something else.
    const log_watch &heard = watch.heard();
    const auto expect = [this](bool read, const char *name)
    {
        if (!read)
            throw error(EXIT_INPUT, fmt::format("{}: cannot be read", kept(name)));
    };
    expect(!has_cust || !heard.customer_file_left() || heard.customer_file_ended(), QV6D_INIT_CUSTCFG_NAME);
    expect(!has_cfg || heard.started() != start_kind::fresh, QV6D_INIT_CFGBAK_NAME);
    expect(!has_bak || heard.started() != start_kind::data_unreadable, QV6D_INIT_DATBAK_NAME);
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
    // It tells the log alone of a failure, and not of each: what was saved is read back, and what was saved before must
    // not be taken for that.
    bool complains = false;
    std::error_code ignored;
    std::filesystem::remove(QV6D_INIT_DATBAK_NAME, ignored);
    set_log_watch([&complains](const log_entry &line) { complains = complains || line.begins("[ERR] Connot write"); });
    qvalgo_term();
    set_log_watch(nullptr);
    qvstorage_bak saved;
    if (complains || load_file_bak(&saved, QV6D_INIT_DATBAK_NAME) != 0)
        fail_to_write(QV6D_INIT_DATBAK_NAME, ", what was learnt is lost");
}

} // namespace qv6d
