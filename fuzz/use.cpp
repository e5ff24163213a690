#include "use.h"

#include "api/qvs_start.h"
#include "sandbox.h"

#include <cmath>

void start()
{
    qvs_start(CUSTOMER_FILE, CONFIGURATION_BACKUP, DATA_BACKUP);
}

// A destination of which can be told what the library left alone.
template <typename Record>
static Record dirty()
{
    Record record;
    std::memset(static_cast<void *>(&record), 0xAA, sizeof record);
    return record;
}

static void call_getters()
{
    using getter = int32_t (*)(qvs_output *);
    static constexpr getter GETTERS[] = {QVS_getGravity,     QVS_getRotationVector,     QVS_getOrientation,
                                         QVS_getLinearaccel, QVS_getGameRotationVector, QVS_getGeoMagnetic,
                                         QVS_getVirtualGyro};
    for (const getter get : GETTERS)
    {
        auto output = dirty<qvs_output>();
        sandbox::claim(get(&output) == 0, "an entry point returns 0");
        for (const std::uint8_t byte : output.reserved1)
            sandbox::claim(byte == 0xAA, "reserved bytes of an output stay");
    }
}

void feed(const qvs_sample &acc, const qvs_sample &gyro, const qvs_sample &mag)
{
    const double turn[3] = {gyro.x, gyro.y, gyro.z};
    qvalgo_notify_data(3, turn, static_cast<double>(gyro.timestamp) * 1e-9);
    QVS_caliApiSetGyroData(&gyro);
    QVS_caliApiSetAccData(&acc);

    auto result = dirty<qvs_calibration>();
    sandbox::claim(QVS_doCaliApi(&mag, &result) == 0, "an entry point returns 0");
    sandbox::claim(result.accuracy <= 3, "a grade is 0 to 3");
    sandbox::claim(result.timestamp == mag.timestamp, "a result carries its sample's time");
    QVS_caliApiSetMagData(&mag);
    call_getters();
}

void turn(int samples, qvs_sample centre, float radius)
{
    for (int k = 0; k < samples; ++k)
    {
        const float around = static_cast<float>(k) * 2.4F, z = std::cos(0.37F * static_cast<float>(k));
        const float r = std::sqrt(1.0F - z * z), x = r * std::cos(around), y = r * std::sin(around);
        const qvs_sample acc = {centre.timestamp + k, 9.81F * x, 9.81F * y, 9.81F * z, 0};
        const qvs_sample mag = {centre.timestamp + k, centre.x + radius * x, centre.y + radius * y,
                                centre.z + radius * z, 0};
        feed(acc, {centre.timestamp + k, 2.4F, 0.37F, -1.0F, 0}, mag);
    }
}

qvs_sample take_sample(input &in)
{
    const auto time = in.raw<std::int16_t>();
    const float x = in.real<float>(), y = in.real<float>(), z = in.real<float>();
    return {time, x, y, z, time};
}
