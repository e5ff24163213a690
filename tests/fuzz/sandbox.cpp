#include "sandbox.h"

#include "api/qvs_start.h"
#include "platform/log.h"
#include "storage/qvstorage_object.h"

#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <sys/mman.h>
#include <sys/types.h>
#include <unistd.h>
#include <utility>

namespace sandbox
{

std::map<std::string, std::string, std::less<>> files;
std::size_t size_limit = NO_LIMIT;
static std::string lines;

static ssize_t append(void *content, const char *bytes, std::size_t size)
{
    auto &file = *static_cast<std::string *>(content);
    const std::size_t taken = std::min(size, size_limit - std::min(size_limit, file.size()));
    file.append(bytes, taken);
    return static_cast<ssize_t>(taken);
}

void reset()
{
    files.clear();
    size_limit = NO_LIMIT;
    lines.clear();
    qvstorage_object = {};
    accDataIn = gyroDataIn = magDataIn = {};
    accRawDataReady = gyroRawDataReady = magRawDataReady = 0;
    algo_out_hcal = {};
    algo_out_fusion = {};
}

bool logged(std::string_view text)
{
    return std::exchange(lines, {}).find(text) != std::string::npos;
}

void claim(bool holds, const char *what)
{
    if (holds)
        return;
    std::fprintf(stderr, "this does not hold: %s\n", what);
    std::abort();
}

void start()
{
    qvs_start(CUSTOMER_FILE, CONFIGURATION_BACKUP, DATA_BACKUP);
}

void feed(const qvs_sample &acc, const qvs_sample &gyro, const qvs_sample &mag)
{
    const double rates[3] = {gyro.x, gyro.y, gyro.z};
    qvalgo_notify_data(QV6D_SENSOR_GYROSCOPE, rates, static_cast<double>(gyro.timestamp) * 1e-9);
    QVS_caliApiSetGyroData(&gyro);
    QVS_caliApiSetAccData(&acc);

    qvs_calibration result;
    std::memset(static_cast<void *>(&result), 0xAA, sizeof result); // shows what the library leaves alone
    claim(QVS_doCaliApi(&mag, &result) == 0, "an entry point returns 0");
    claim(result.accuracy <= QV6D_GRADE_BEST, "a grade is 0 to 3");
    claim(result.timestamp == mag.timestamp, "a result carries its sample's time");
    QVS_caliApiSetMagData(&mag);
    for (const auto get : {QVS_getGravity, QVS_getRotationVector, QVS_getOrientation, QVS_getLinearaccel,
                           QVS_getGameRotationVector, QVS_getGeoMagnetic, QVS_getVirtualGyro})
    {
        qvs_output output;
        std::memset(static_cast<void *>(&output), 0xAA, sizeof output);
        claim(get(&output) == 0, "an entry point returns 0");
        for (const std::uint8_t byte : output.reserved1)
            claim(byte == 0xAA, "reserved bytes of an output stay");
    }
}

void feed(input &in, int times)
{
    const qvs_sample acc = take_sample(in), gyro = take_sample(in), mag = take_sample(in);
    for (int k = 0; k < times; ++k)
        feed(acc, gyro, mag);
}

void turn(int samples, qvs_sample centre, float radius)
{
    for (int k = 0; k < samples; ++k)
    {
        const float around = static_cast<float>(k) * 2.4F, z = std::cos(0.37F * static_cast<float>(k));
        const float r = std::sqrt(1.0F - z * z), x = r * std::cos(around), y = r * std::sin(around);
        const std::int64_t t = centre.timestamp + k;
        feed({t, 9.81F * x, 9.81F * y, 9.81F * z, 0}, {t, 2.4F, 0.37F, -1.0F, 0},
             {t, centre.x + radius * x, centre.y + radius * y, centre.z + radius * z, 0});
    }
}

qvs_sample take_sample(input &in)
{
    const auto time = in.raw<std::int16_t>();
    const float x = in.real<float>(), y = in.real<float>(), z = in.real<float>();
    return {time, x, y, z, time};
}

} // namespace sandbox

// What the library calls in place of fopen.
extern "C" std::FILE *sandbox_fopen(const char *path, const char *mode)
{
    const bool creates = mode[0] == 'w';
    if (*path == '\0' || (!creates && !sandbox::files.contains(path)))
        return nullptr;
    std::string &content = sandbox::files[path];
    if (!creates)
        return fmemopen(content.data(), content.size(), "r");
    content.clear(); // the library writes from beginning to end
    return fopencookie(&content, "w", {nullptr, sandbox::append, nullptr, nullptr});
}

// A file in memory, which is read only.
extern "C" int sandbox_open(const char *path, int)
{
    const auto found = sandbox::files.find(path);
    if (found == sandbox::files.end())
        return -1;
    const int file = memfd_create("sandbox", MFD_CLOEXEC);
    const std::string &content = found->second;
    sandbox::claim(pwrite(file, content.data(), content.size(), 0) == static_cast<ssize_t>(content.size()), "it fits");
    return file;
}

// Formats every line, so that a bad argument shows, and keeps what a claim may ask for.
extern "C" int __android_log_print(int, const char *, const char *fmt, ...)
{
    static char line[8192];
    va_list arguments;
    va_start(arguments, fmt);
    const int length = std::vsnprintf(line, sizeof line, fmt, arguments);
    va_end(arguments);

    const std::string_view written = line;
    sandbox::claim(length > 0 && static_cast<std::size_t>(length) == written.size(), "a log line is shorter than 8192");
    sandbox::claim(written.front() == '[' && written.back() == '\n', "a log line opens with its operation and ends");
    if (sandbox::lines.size() > 1 << 16)
        sandbox::lines.clear();
    sandbox::lines += written;
    return length;
}
