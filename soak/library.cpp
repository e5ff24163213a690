#include "library.h"

#include <dlfcn.h>
#include <stdexcept>
#include <utility>

namespace soak
{

namespace
{

class library_call
{
public:
    library_call(allocations *to, std::FILE *log) : terminal_(std::exchange(stderr, log)), counting_(to)
    {
    }

    ~library_call()
    {
        stderr = terminal_;
    }

    library_call(const library_call &) = delete;
    library_call &operator=(const library_call &) = delete;

private:
    std::FILE *const terminal_;
    const counted counting_;
};

qvs_sample record(std::int64_t t_ns, const vec3f &v)
{
    return {t_ns, v[0], v[1], v[2], 0};
}

} // namespace

library::library(const std::string &path, std::FILE *log) : path_(path), log_(log)
{
    load();
}

library::~library()
{
    if (handle_ != nullptr)
        dlclose(handle_);
}

template <typename T>
void library::find(T **symbol, const char *name) const
{
    *symbol = reinterpret_cast<T *>(dlsym(handle_, name));
    if (*symbol == nullptr)
        throw std::runtime_error(path_ + ": has no " + name);
}

void library::load()
{
    handle_ = dlopen(path_.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle_ == nullptr)
        throw std::runtime_error(dlerror());
    find(&api_, "MAG_LIB_API_INTERFACE");
    find(&calibration_, "algo_out_hcal");
    find(&fusion_, "algo_out_fusion");
    find(&init_, "qvalgo_init");
    find(&term_, "qvalgo_term");
    find(&notify_, "qvalgo_notify_data");
    find(&config_path_, "qvalgo_config_path");
    find(&config_accuracy_, "qvalgo_config_accuracy");
    find(&config_clearradius_, "qvalgo_config_clearradius");
    find(&config_accthr_, "qvalgo_config_accthr");
    find(&config_gyrthr_, "qvalgo_config_gyrthr");
}

void library::reload()
{
    dlclose(std::exchange(handle_, nullptr));
    if (dlopen(path_.c_str(), RTLD_NOW | RTLD_NOLOAD) != nullptr)
        throw std::runtime_error(path_ + ": stays loaded");
    load();
}

bool library::start(const settings &chosen)
{
    static constexpr double bounds[3] = {600.0, 50.0, 6.0}; // these and the next two as QVS_initLib has them
    const library_call call(&starts_and_ends_, log_);
    config_accuracy_(bounds, 6);
    config_clearradius_(10.0);
    config_accthr_(0.06, 0.999999);
    config_gyrthr_(chosen.gyrthr);
    config_path_("cust.cfg", "cust.cfgbak", "cust.datbak");
    return init_() == 0;
}

answer library::feed(const sample &now, bool notify_gyroscope)
{
    const qvs_sample acc = record(now.t_ns, now.acc), gyr = record(now.t_ns, now.gyr), mag = record(now.t_ns, now.mag);
    qvs_calibration c = {};
    qvs_output o = {};
    {
        const library_call call(&per_sample_, log_);
        api_->caliApiSetAccData(&acc);
        api_->caliApiSetGyroData(&gyr);
        if (notify_gyroscope)
        {
            const double rates[3] = {gyr.x, gyr.y, gyr.z};
            notify_(3, rates, static_cast<double>(now.t_ns) / 1e9);
        }
        api_->doCaliApi(&mag, &c);
        api_->caliApiSetMagData(&mag);
        api_->getOrientation(&o);
    }
    return {c.accuracy,
            {c.offset[0], c.offset[1], c.offset[2]},
            {c.calibrated[0], c.calibrated[1], c.calibrated[2]},
            calibration_->radius,
            fusion_->valid != 0,
            {o.x, o.y, o.z}};
}

void library::end()
{
    const library_call call(&starts_and_ends_, log_);
    term_();
}

} // namespace soak
