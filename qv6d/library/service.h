// A sensor service around the library, as a device has it: start-up, samples in, results out, shutdown.
//
// The library keeps its state for the process, so there is one service in a process.
#pragma once

#include "qv6dalgo.h"
#include "recordings/recording.h"

#include <cstdint>
#include <string>

namespace qv6d
{

struct service_settings
{
    std::string state_dir;    // holds customer file and record files, wherever the customer file says that they are
    bool counts = false;      // mag events are raw counts, not microtesla
    bool notify_gyro = false; // also hand gyr events to qvalgo_notify_data
    bool debug = false;       // the library's debug lines on
};

// What the library returns for one magnetometer event. Fields are microtesla, angles degrees.
struct sample_result
{
    std::int64_t t_ns;
    float calibrated[3];
    float offset[3];
    double radius;
    int grade;      // QV6D_GRADE_*
    bool validated; // the offset, and the calibration was not started over since
    float azimuth, pitch, roll;
};

class service
{
public:
    // Enters the state directory and starts the library there. Throws qv6d::error when a file there cannot be read or
    // the directory cannot be written.
    explicit service(const service_settings &settings);

    // Feeds an accelerometer or gyroscope event.
    void feed(const event &e);

    // Feeds a magnetometer event: calibration step, fusion step, getters.
    sample_result measure(const event &e);

    // Saves the calibration. Throws qv6d::error when that failed.
    void finish();

private:
    void start();
    [[noreturn]] void fail_to_write(const char *name, const char *consequence) const;
    std::string kept(const char *path) const;

    service_settings settings_;
};

} // namespace qv6d
