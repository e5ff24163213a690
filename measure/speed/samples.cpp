#include "samples.h"

#include "common/error.h"
#include "library/service.h"
#include "recordings/recording.h"

#include <cstdio>
#include <cstdlib>

namespace bench
{

static const char *const FILES[] = {"customer.cfg", "configuration.bak", "data.bak"};

std::vector<pair> load(const std::string &path)
try
{
    std::vector<pair> pairs;
    pair p = {};
    qv6d::recording events(path);
    for (qv6d::event e; events.next(&e);)
    {
        if (e.kind == qv6d::sensor::acc)
            p.acc = {e.t_ns, e.x, e.y, e.z, 0};
        if (e.kind != qv6d::sensor::mag)
            continue;
        constexpr float per_count = QV6D_MICROTESLA_PER_COUNT;
        p.mag = {e.t_ns, e.x / per_count, e.y / per_count, e.z / per_count, 0};
        pairs.push_back(p);
    }
    return pairs;
}
catch (const qv6d::error &e)
{
    std::fprintf(stderr, "%s\n", e.what());
    std::exit(1);
}

std::vector<pair> disturbed(std::vector<pair> pairs)
{
    constexpr float magnet = 120.0F / QV6D_MICROTESLA_PER_COUNT;
    for (pair &p : pairs)
        if (p.mag.timestamp / 1'000'000'000 % 10 < 3)
            p.mag.x += magnet;
    return pairs;
}

// The settings of QVS_initLib, with other files.
void start()
{
    static constexpr double bounds[3] = {QV6D_INIT_RANGE_LOW, QV6D_INIT_RANGE_MEDIUM, QV6D_INIT_RANGE_BEST};
    qvalgo_config_accuracy(bounds, QV6D_INIT_POLICY);
    qvalgo_config_clearradius(QV6D_INIT_CLEARRADIUS);
    qvalgo_config_accthr(QV6D_INIT_ACCTHR, QV6D_INIT_AWEIGHT);
    qvalgo_config_path(FILES[0], FILES[1], FILES[2]);
    qvalgo_init();
    accRawDataReady = gyroRawDataReady = magRawDataReady = 0;
}

void restart()
{
    qvalgo_term();
    for (const char *file : FILES)
        std::remove(file);
    start();
}

} // namespace bench
