// heading.c in C++: the library ends with the object that started it.

#include <qv6dalgo.h>

#include <cstdio>

class orientation_library
{
public:
    orientation_library()
    {
        qvalgo_config_path("heading.cfg", "heading.cfgbak", "heading.datbak");
        qvalgo_config_accthr(QV6D_INIT_ACCTHR, QV6D_INIT_AWEIGHT);
        qvalgo_init();
    }

    ~orientation_library()
    {
        qvalgo_term();
    }

    orientation_library(const orientation_library &) = delete;
    orientation_library &operator=(const orientation_library &) = delete;

    // m/s²
    void take_acceleration(int64_t time, float x, float y, float z)
    {
        const qvs_sample sample = {time, x, y, z, 0};
        QVS_caliApiSetAccData(&sample);
    }

    // Microtesla
    qvs_output take_field(int64_t time, float x, float y, float z)
    {
        constexpr float counts = 1.0f / QV6D_MICROTESLA_PER_COUNT;
        const qvs_sample sample = {time, x * counts, y * counts, z * counts, 0};
        QVS_caliApiSetMagData(&sample);
        qvs_output orientation = {};
        QVS_getOrientation(&orientation);
        return orientation;
    }
};

int main()
{
    orientation_library library;
    library.take_acceleration(1000000, 3.0f, -4.0f, 8.0f);
    const qvs_output orientation = library.take_field(1000000, 15.0f, 30.0f, -45.0f);
    std::printf("azimuth %.1f  pitch %.1f  roll %.1f\n", static_cast<double>(orientation.x),
                static_cast<double>(orientation.y), static_cast<double>(orientation.z));
}
