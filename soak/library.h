// The library as a device has it: the shared object, loaded at run time and driven through its public header.
#pragma once

#include "heap.h"
#include "qv6dalgo.h"

#include <array>
#include <cstdio>
#include <string>

namespace soak
{

using vec3f = std::array<float, 3>;

struct settings
{
    double gyrthr = 0.0; // rad/s; above 0 movement is judged by the gyroscope

    bool operator==(const settings &) const = default;
};

struct sample
{
    std::int64_t t_ns;
    vec3f acc, gyr, mag; // m/s², rad/s, counts
};

struct answer
{
    int grade;
    vec3f offset, calibrated; // microtesla
    double radius;            // microtesla
    bool oriented;            // azimuth, pitch and roll are those of this sample
    vec3f orientation;        // degrees
};

// Everything that the library allocates is counted, and what it logs goes to a file.
class library
{
public:
    // Throws std::runtime_error when the shared object is not what it should be.
    library(const std::string &path, std::FILE *log);
    ~library();

    library(const library &) = delete;
    library &operator=(const library &) = delete;

    // Keeps its files in the working directory. False when the library reports a failure.
    bool start(const settings &chosen);
    answer feed(const sample &now, bool notify_gyroscope);
    void end();

    // What a new process does: what was not saved is lost.
    void reload();

    const allocations &per_sample() const
    {
        return per_sample_;
    }

    const allocations &starts_and_ends() const
    {
        return starts_and_ends_;
    }

private:
    void load();

    template <typename T>
    void find(T **symbol, const char *name) const;

    const std::string path_;
    std::FILE *const log_;
    void *handle_ = nullptr;
    allocations per_sample_, starts_and_ends_;

    const qvs_interface *api_ = nullptr;
    const qvalgo_hcal_out *calibration_ = nullptr;
    const qvalgo_fusion_out *fusion_ = nullptr;
    decltype(qvalgo_init) *init_ = nullptr;
    decltype(qvalgo_term) *term_ = nullptr;
    decltype(qvalgo_notify_data) *notify_ = nullptr;
    decltype(qvalgo_config_path) *config_path_ = nullptr;
    decltype(qvalgo_config_accuracy) *config_accuracy_ = nullptr;
    decltype(qvalgo_config_clearradius) *config_clearradius_ = nullptr;
    decltype(qvalgo_config_accthr) *config_accthr_ = nullptr;
    decltype(qvalgo_config_gyrthr) *config_gyrthr_ = nullptr;
};

} // namespace soak
