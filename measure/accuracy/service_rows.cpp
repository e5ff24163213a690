// What the service layer makes of a recording: a row for every field.
//   service_rows RECORDING|- [--counts] [--config CUSTOMER_FILE] [--state DIRECTORY] [--without-gyroscope]

#include "qv6dalgo.h"
#include "qv6dservice.h"
#include "recordings/recording.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

struct choice
{
    const char *recording = nullptr;
    const char *customer_file = nullptr;
    const char *directory = nullptr;
    bool counts = false; // of the magnetometer, not microtesla
    bool gyroscope = true;
};

static choice choice_of(int argc, char **argv)
{
    choice chosen;
    for (int i = 1; i < argc; ++i)
        if (std::strcmp(argv[i], "--counts") == 0)
            chosen.counts = true;
        else if (std::strcmp(argv[i], "--without-gyroscope") == 0)
            chosen.gyroscope = false;
        else if (std::strcmp(argv[i], "--config") == 0 && i + 1 < argc)
            chosen.customer_file = argv[++i];
        else if (std::strcmp(argv[i], "--state") == 0 && i + 1 < argc)
            chosen.directory = argv[++i];
        else if (chosen.recording == nullptr)
            chosen.recording = argv[i];
        else
            throw std::runtime_error(std::string("what is ") + argv[i] + "?");
    if (chosen.recording == nullptr)
        throw std::runtime_error("no recording is named");
    return chosen;
}

static qv6ds *start(const choice &chosen)
{
    qv6ds_settings settings = qv6ds_defaults();
    settings.customer_file = chosen.customer_file;
    settings.directory = chosen.directory;
    settings.log = [](void *, int, const char *text) { std::fprintf(stderr, "%s\n", text); };
    qv6ds *service;
    if (qv6ds_start(&settings, &service) != 0)
        throw std::runtime_error("the service does not start");
    return service;
}

static void print(const qv6ds_state &s)
{
    const auto d = [](float value) { return static_cast<double>(value); };
    std::printf("%lld,%d,%u,%.4f,%.4f,%.4f,%.3f,%.3f,%.7f,%.7f,%.7f,%.7f,%.3f,%.3f\n",
                static_cast<long long>(s.time_ns), s.status, s.reasons, d(s.bias[0]), d(s.bias[1]), d(s.bias[2]),
                d(s.radius), d(s.bias_error), d(s.quaternion[3]), d(s.quaternion[0]), d(s.quaternion[1]),
                d(s.quaternion[2]), d(s.azimuth), d(s.heading_error));
}

static void run(qv6ds *service, const choice &chosen)
{
    qv6d::recording recording(chosen.recording);
    qv6ds_state state = {};
    state.size = sizeof state;
    std::puts("t_ns,status,reasons,bias_x,bias_y,bias_z,radius,bias_error,qw,qx,qy,qz,azimuth,heading_error");
    int64_t last = -1;
    for (qv6d::event e; recording.next(&e);)
    {
        if (e.kind == qv6d::sensor::bias || (e.kind == qv6d::sensor::gyr && !chosen.gyroscope))
            continue;
        const float unit = e.kind == qv6d::sensor::mag && chosen.counts ? QV6D_MICROTESLA_PER_COUNT : 1.0f;
        qv6ds_put(service, static_cast<qv6ds_sensor>(e.kind), e.t_ns, unit * e.x, unit * e.y, unit * e.z);
        qv6ds_get(service, &state);
        if (state.time_ns != last)
            print(state);
        last = state.time_ns;
    }
}

int main(int argc, char **argv)
try
{
    static_assert(static_cast<int>(qv6d::sensor::mag) == QV6DS_MAGNETOMETER &&
                  static_cast<int>(qv6d::sensor::gyr) == QV6DS_GYROSCOPE);
    const choice chosen = choice_of(argc, argv);
    qv6ds *service = start(chosen);
    run(service, chosen);
    return qv6ds_stop(service) == 0 ? 0 : 1;
}
catch (const std::exception &failure)
{
    std::fprintf(stderr, "service_rows: %s\n", failure.what());
    return 1;
}
