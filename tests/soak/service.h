// A sensor service around the shared object, as a device has it, that knows with which offset every start has to
// resume.
#pragma once

#include "day.h"
#include "qv6dalgo.h"
#include "storage/qvfile.h"
#include "storage/qvstorage.h"

#include <dlfcn.h>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>

namespace soak
{

inline constexpr const char *CUSTCFG = "cust.cfg", *CFGBAK = "cust.cfgbak", *DATBAK = "cust.datbak";

struct service_record
{
    double starts = 0, bad_starts = 0, torn_files = 0; // counts
};

struct answer
{
    std::int64_t grade;
    double radius;                            // microtesla
    Vector3d offset, calibrated, orientation; // microtesla, microtesla, degrees
};

inline qvs_sample sample(std::int64_t t_ns, const Vector3d &v)
{
    return {t_ns, static_cast<float>(v.x()), static_cast<float>(v.y()), static_cast<float>(v.z()), 0};
}

// Whether a record file has its whole frame.
inline bool whole(const char *path, std::size_t payload)
{
    std::ifstream in(path, std::ios::binary);
    const std::string file(std::istreambuf_iterator<char>(in), {});
    return file.size() == payload + 18 && file.front() == QVFILE_HEAD_MARK && file.back() == QVFILE_TAIL_MARK;
}

class service
{
public:
    explicit service(const std::string &path) : path_(path)
    {
        for (int i = 0; i < 5; ++i) // the loader keeps something of the first loads
            load();
    }

    // Starts at the first moment, and ends and starts again when an incident says so. True when what was learnt is
    // lost.
    bool meet(const moment &now)
    {
        if (now.service == incident::none && now.k != 0)
            return false;
        if (now.service == incident::restart || now.service == incident::reinit)
            end();
        if (now.service == incident::restart || now.service == incident::crash)
            load();
        start(now.gyroscope ? 0.5 : 0.0);
        return expected_ != last_;
    }

    answer measure(const moment &now)
    {
        const std::int64_t t_ns = now.k * (1000000000 / RATE);
        const qvs_sample acc = sample(t_ns, now.acc), gyr = sample(t_ns, now.gyr), field = sample(t_ns, now.field);
        const double rates[3] = {gyr.x, gyr.y, gyr.z};
        qvs_calibration c = {};
        qvs_output o = {};
        api_->caliApiSetAccData(&acc);
        api_->caliApiSetGyroData(&gyr);
        if (gyrthr_ > 0.0)
            notify_(QV6D_SENSOR_GYROSCOPE, rates, static_cast<double>(t_ns) / 1e9);
        api_->doCaliApi(&field, &c);
        api_->caliApiSetMagData(&field);
        api_->getOrientation(&o);

        last_ = {c.offset[0], c.offset[1], c.offset[2]};
        record.bad_starts += expected_.value_or(last_) != last_;
        expected_.reset();
        const Vector3d calibrated = {c.calibrated[0], c.calibrated[1], c.calibrated[2]};
        return {c.accuracy, result_->radius, last_, calibrated, {o.x, o.y, o.z}};
    }

    void end()
    {
        find<decltype(qvalgo_term)>("qvalgo_term")();
        record.torn_files += !whole(DATBAK, sizeof(qvstorage_bak));
        saved_ = last_;
    }

    service_record record;

private:
    template <typename T>
    T *find(const char *name) const
    {
        void *const symbol = dlsym(loaded_.get(), name);
        return symbol != nullptr ? reinterpret_cast<T *>(symbol) : throw std::runtime_error(dlerror());
    }

    void load()
    {
        loaded_.reset();
        if (dlopen(path_.c_str(), RTLD_NOW | RTLD_NOLOAD) != nullptr)
            throw std::runtime_error("the library stays loaded");
        loaded_.reset(dlopen(path_.c_str(), RTLD_NOW | RTLD_LOCAL));
        if (!loaded_)
            throw std::runtime_error(dlerror());
        api_ = find<const qvs_interface>("MAG_LIB_API_INTERFACE");
        result_ = find<const qvalgo_hcal_out>("algo_out_hcal");
        notify_ = find<decltype(qvalgo_notify_data)>("qvalgo_notify_data");
    }

    // What was learnt is reused when, and only when, the settings are those of the start before.
    void start(double gyrthr)
    {
        static constexpr double bounds[3] = {QV6D_INIT_RANGE_LOW, QV6D_INIT_RANGE_MEDIUM, QV6D_INIT_RANGE_BEST};
        find<decltype(qvalgo_config_accuracy)>("qvalgo_config_accuracy")(bounds, QV6D_INIT_POLICY);
        find<decltype(qvalgo_config_clearradius)>("qvalgo_config_clearradius")(QV6D_INIT_CLEARRADIUS);
        find<decltype(qvalgo_config_accthr)>("qvalgo_config_accthr")(QV6D_INIT_ACCTHR, QV6D_INIT_AWEIGHT);
        find<decltype(qvalgo_config_gyrthr)>("qvalgo_config_gyrthr")(gyrthr);
        find<decltype(qvalgo_config_path)>("qvalgo_config_path")(CUSTCFG, CFGBAK, DATBAK);
        record.bad_starts += find<decltype(qvalgo_init)>("qvalgo_init")() != 0;
        record.torn_files += !whole(CFGBAK, sizeof(qvstorage_cfg));
        expected_ = record.starts++ > 0 && gyrthr_ == gyrthr ? saved_ : Vector3d(0.0, 0.0, 0.0);
        gyrthr_ = gyrthr;
    }

    const std::string path_;
    std::unique_ptr<void, int (*)(void *)> loaded_{nullptr, &dlclose};
    const qvs_interface *api_ = nullptr;
    const qvalgo_hcal_out *result_ = nullptr;
    decltype(qvalgo_notify_data) *notify_ = nullptr;

    double gyrthr_ = 0.0;                               // rad/s
    Vector3d saved_ = Vector3d::Zero(), last_ = saved_; // offset of the last end and of the last sample
    std::optional<Vector3d> expected_;                  // of the sample after a start
};

} // namespace soak
