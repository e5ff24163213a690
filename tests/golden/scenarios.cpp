#include "scenarios.h"

#include "api/qvs_start.h"
#include "device.h"
#include "hcal/qvhcal.h"
#include "qv6dalgo.h"
#include "storage/qvstorage_object.h"

#include <cmath>
#include <cstddef>
#include <cstring>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <string>

namespace
{
enum trait : unsigned
{
    GYROSCOPE = 1,        // movement is judged by it
    COUNTS = 2,           // whole counts
    DISTURBED = 4,        // a magnet comes and goes
    OFFSET_STEP = 8,      // the hard iron changes half way
    RESTARTED = 16,       // twice, from the files
    POLAR = 32,           // the grade's policy looks at the polar angle
    STRONG = 64,          // a field that is not the earth's
    SPOILT = 128,         // samples that are zero, huge or no numbers
    SWITCHED_OFF = 256,   // no calibration
    CUSTOMER_FILE = 512,  // settings and soft iron from text
    DRAWN = 1024,         // settings drawn at random
    DEBUG_LINES = 2048,   // costly: printing takes longer than the rest
    OPERATIONS_RUN = 4096 // no recording: operations exported by name
};

struct scenario
{
    const char *name;
    motion how;
    unsigned traits;

    bool is(unsigned asked) const
    {
        return (traits & asked) != 0;
    }
};
} // namespace

// New ones go to the end: a scenario's place is its seed.
static constexpr scenario SCENARIOS[] = {
    {"still", motion::still, 0},
    {"level", motion::level, 0},
    {"tumble", motion::tumble, DEBUG_LINES},
    {"tumble-gyroscope", motion::tumble, GYROSCOPE},
    {"gestures", motion::gestures, 0},
    {"gestures-gyroscope", motion::gestures, GYROSCOPE},
    {"disturbed", motion::tumble, DISTURBED},
    {"offset-step", motion::tumble, OFFSET_STEP},
    {"counts", motion::gestures, COUNTS | DEBUG_LINES},
    {"restarted", motion::tumble, RESTARTED | DEBUG_LINES},
    {"restarted-polar", motion::gestures, RESTARTED | POLAR},
    {"polar", motion::tumble, POLAR},
    {"strong-field", motion::tumble, STRONG},
    {"spoilt", motion::tumble, SPOILT | DEBUG_LINES},
    {"switched-off", motion::tumble, SWITCHED_OFF},
    {"customer-file", motion::tumble, CUSTOMER_FILE},
    {"drawn-1", motion::tumble, DRAWN},
    {"drawn-2", motion::tumble, DRAWN | GYROSCOPE},
    {"drawn-3", motion::gestures, DRAWN | COUNTS},
    {"drawn-4", motion::tumble, DRAWN | OFFSET_STEP},
    {"drawn-5", motion::tumble, DRAWN | DISTURBED | DEBUG_LINES},
    {"drawn-6", motion::gestures, DRAWN | RESTARTED | GYROSCOPE},
    {"operations", motion::still, OPERATIONS_RUN},
};

bool documented_way = true;
bool log_is_seen = false;

static constexpr int SAMPLES = 1200;
static constexpr const char *CUSTCFG = "cust", *CFGBAK = "cfg", *DATBAK = "dat";

const char *scenario_name(int index)
{
    return static_cast<std::size_t>(index) < std::size(SCENARIOS) ? SCENARIOS[index].name : nullptr;
}

// In braces the numbers are drawn in their order; that of a call's arguments is the compiler's.
static void draw_settings(random_source random)
{
    const auto real = [&random](double low, double high) { return random.uniform(low, high); };
    double soft_iron[3][3];
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            soft_iron[i][j] = (i == j ? 1.0 : 0.0) + real(-0.1, 0.1);
    qvalgo_config_softiron(soft_iron);

    const double grades[] = {real(3.0, 10.0), real(10.0, 20.0), real(20.0, 30.0)};
    const double bounds[3] = {grades[2], grades[1], grades[0]};
    qvalgo_config_accuracy(bounds, random.below(8));
    qvalgo_config_clearradius(real(5.0, 30.0));

    const double m[] = {real(0.5, 3.0), real(30.0, 80.0), real(0.3, 0.8), real(5.0, 20.0), real(100.0, 300.0)};
    qvalgo_config_calibration1(m[0], m[1], m[2], m[3], m[4]);
    const int32_t buffers[] = {10 + random.below(31), random.below(3), random.below(4)};
    qvalgo_config_calibration2(buffers[0], buffers[1], buffers[2]);
    const double fit[] = {real(0.9, 1.0), real(0.3, 2.0)};
    qvalgo_config_calibration3(fit[0], fit[1], 6.0);
}

// Numbers that no double equals: the customer file is read with the nearest one.
static constexpr char CUSTOMER_TEXT[] = "env.simtx[0][0] = 1.0123456789012345678\nenv.simtx[0][1] = 0.03\n"
                                        "env.simtx[1][2] = -2.1e-2\nenv.simtx[2][2] = 0.98765432109876543\n"
                                        "hcal.rbufsize = 33\nhcal.rlsm.w = 0.9712345678901234567\n"
                                        "hcal.rlsm.stdev = 0.7\nhcal.motion.sendiffmin = 9.3\nhcal.accuracy[2] = 4.44\n"
                                        "fusion.inclination_alpha = 0.123\n";

static void configure(const scenario &s, int index)
{
    if (s.is(DEBUG_LINES))
        qvalgo_config_debug(1);
    if (s.is(GYROSCOPE))
        qvalgo_config_gyrthr(0.3);
    if (s.is(SWITCHED_OFF))
        qvalgo_config_calibration2(0, 1, 2);
    if (s.is(CUSTOMER_FILE))
        std::ofstream(CUSTCFG) << CUSTOMER_TEXT;
    if (!s.is(POLAR | DRAWN))
    {
        qvs_start(CUSTCFG, CFGBAK, DATBAK);
        return;
    }

    qvs_configure(CUSTCFG, CFGBAK, DATBAK);
    static constexpr double bounds[3] = {20.0, 10.0, 6.0};
    if (s.is(POLAR))
        qvalgo_config_accuracy(bounds, QV6D_POLICY_POLAR_ANGLE | QV6D_POLICY_TRUST_FIT | QV6D_POLICY_CLEAR_RADIUS);
    if (s.is(DRAWN))
        draw_settings(random_source(static_cast<std::uint64_t>(index)));
    qvalgo_init();
}

// As debug lines do it, without a difference in the files.
static void take_documented_way()
{
    qvstorage &own = qvstorage_object;
    own.env.cfg.endbg = own.fusion.cfg.endbg = 1;
    own.hcal.cfg.endbg = own.hcal.motion.cfg.endbg = own.hcal.rlsm.cfg.endbg = 1;
}

static void start(const scenario &s, int index)
{
    configure(s, index);
    if (documented_way)
        take_documented_way();
}

static void spoil(int i, qvcrd_vec3 *acc, qvcrd_vec3 *mag)
{
    if (i % 200 == 50)
        *acc = *mag = {};
    if (i % 200 == 70)
        *mag = {1e30, -1e25, 3e-30};
    if (i == 500)
        acc->y = NAN;
    if (i == 700)
        mag->z = NAN;
    if (i == 900)
        *mag = {-HUGE_VAL, 0.0, HUGE_VAL};
}

static readings distorted(const scenario &s, int i, readings r, random_source &random)
{
    if (s.is(STRONG))
        r.mag = scaled(r.mag, 1.7);
    const bool stepped = s.is(OFFSET_STEP) && i >= SAMPLES / 2;
    r.mag = sum(r.mag, stepped ? qvcrd_vec3{75.0, -20.0, -260.0} : qvcrd_vec3{120.0, -45.0, -300.0});
    if (s.is(DISTURBED) && i % 400 >= 300)
        r.mag = sum(r.mag, random.vector(i % 800 >= 400 ? 200.0 : 20.0));
    if (s.is(SPOILT))
        spoil(i, &r.acc, &r.mag);
    return r;
}

static qvs_sample sample(int64_t t, qvcrd_vec3 v)
{
    return {t, static_cast<float>(v.x), static_cast<float>(v.y), static_cast<float>(v.z), 0};
}

static qvs_sample field_sample(const scenario &s, int64_t t, qvcrd_vec3 v)
{
    constexpr double per_count = 0.15; // not QV6D_MICROTESLA_PER_COUNT: the expected bits are those of these samples
    const qvcrd_vec3 counts = scaled(v, 1.0 / per_count);
    const qvcrd_vec3 whole = {std::floor(counts.x + 0.5), std::floor(counts.y + 0.5), std::floor(counts.z + 0.5)};
    return sample(t, s.is(COUNTS) ? whole : counts);
}

static void add_sample(output to, const qvs_sample &s)
{
    add(to, s.timestamp, s.x, s.y, s.z, s.status);
}

static void add_published(const qvs_output &o, output xyz)
{
    add(EXPORTED, o.timestamp);
    add(xyz, o.x, o.y, o.z);
    add_bytes(EXPORTED, o.reserved1, sizeof o - offsetof(qvs_output, reserved1));
}

// What an operation leaves as it is shows.
template <typename T>
static T dirty()
{
    T value;
    std::memset(static_cast<void *>(&value), 0xAA, sizeof value);
    return value;
}

static void add_steps()
{
    const qvalgo_hcal_out hcal = algo_out_hcal;
    add(EXPORTED, hcal.accuracy, hcal.radius, hcal.update_result);
    const qvalgo_fusion_out fusion = algo_out_fusion;
    add(EXPORTED, fusion.valid);
    for (int i = 0; i < 3; ++i)
    {
        add(EXPORTED, hcal.compensated[i], hcal.offset[i], hcal.canceled[i]);
        add(EXPORTED, fusion.gyro[i], fusion.grav[i], fusion.lina[i]);
        add_angle(ORIENTATION, fusion.ornt[i]);
    }
    for (int i = 0; i < 4; ++i)
        add(EXPORTED, fusion.quat[i], fusion.rotv[i]);
    add_bytes(EXPORTED, hcal.reserved1, sizeof hcal.reserved1);
    add_bytes(EXPORTED, hcal.reserved2, sizeof hcal.reserved2);
    add_bytes(EXPORTED, fusion.reserved1, sizeof fusion.reserved1);
    add_bytes(EXPORTED, fusion.reserved2, sizeof fusion.reserved2);
    add_bytes(EXPORTED, fusion.reserved3, sizeof fusion.reserved3);
}

static void add_exported()
{
    const qvs_interface &api = MAG_LIB_API_INTERFACE;
    for (const auto get : {api.getGravity, api.getRotationVector, api.getLinearaccel, api.getGameRotationVector,
                           api.getGeoMagnetic, api.getVirtualGyro, api.getOrientation})
    {
        auto o = dirty<qvs_output>();
        get(&o);
        add_published(o, get == api.getOrientation ? ORIENTATION : EXPORTED);
    }
    for (const qvs_output &o : {qvGravity, qvRotationVector, qvLinearaccel, qvGeoMagnetic, qvVirtualGyro})
        add_published(o, EXPORTED);
    add_published(qvOrientation, ORIENTATION);
    add_steps();
    for (const qvs_sample &s : {accDataIn, gyroDataIn, magDataIn})
        add_sample(EXPORTED, s);
    add(EXPORTED, accRawDataReady, gyroRawDataReady, magRawDataReady);
    add(EXPORTED, accel[0], accel[1], accel[2], mag[0], mag[1], mag[2]);
}

static void add_calibration(const qvs_calibration &c)
{
    float offset[3];
    MAG_LIB_API_INTERFACE.caliApiGetOffset(offset);
    for (int i = 0; i < 3; ++i)
        add(CALIBRATION, c.calibrated[i], c.offset[i], offset[i]);
    add(CALIBRATION, c.timestamp);
    add_bytes(CALIBRATION, &c.accuracy, sizeof c - offsetof(qvs_calibration, accuracy));
}

static void add_learnt()
{
    const qvhcal_state &hcal = qvstorage_object.hcal;
    const qvstorage_bak record = {{hcal.rlsm.bak, hcal.status}, qvstorage_object.fusion.bak};
    add_status(STATUS, record);
    add_record(LEARNT, record);
    for (const output to : {STATUS, LEARNT})
        add(to, hcal.rbufcnt, hcal.clearchecked, hcal.motion.moving_weight);
    if (qvmaf_get_n(&hcal.amaf) == 0)
        return;
    double average[2];
    qvmaf_get_avg(&hcal.amaf, average);
    add(LEARNT, average[0]);
    add_angle(POLAR_ANGLE, average[1]);
}

static std::string content(const char *path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

// Both record files, and of the data backup file the inclination apart.
static void add_files()
{
    std::string data = content(DATBAK), configuration = content(CFGBAK);
    add(FILES, static_cast<int64_t>(data.size()));
    qvstorage_bak payload;
    data.resize(9 + sizeof payload + 9);
    std::memcpy(&payload, &data[9], sizeof payload);
    add_bytes(FILES, data.data(), 9);
    add_record(FILES, payload);
    add_bytes(FILES, &data[9 + sizeof payload], 9);
    add_bytes(FILES, configuration.data(), configuration.size());
}

static void feed(const scenario &s, int i, const readings &r)
{
    const qvs_interface &api = MAG_LIB_API_INTERFACE;
    const int64_t t = int64_t{20'000'000} * i;
    const qvs_sample acc = sample(t, r.acc), gyr = sample(t, r.gyr), field = field_sample(s, t, r.mag);
    for (const qvs_sample &in : {acc, gyr, field})
        add_sample(INPUT, in);

    if (i >= 20) // a magnetometer is often the first to speak
        api.caliApiSetAccData(&acc);
    api.caliApiSetGyroData(&gyr);
    const double rates[3] = {gyr.x, gyr.y, gyr.z};
    if (s.is(GYROSCOPE))
        qvalgo_notify_data(QV6D_SENSOR_GYROSCOPE, rates, static_cast<double>(t) / 1e9);

    auto calibration = dirty<qvs_calibration>();
    api.doCaliApi(&field, &calibration);
    api.caliApiSetMagData(&field);
    static constexpr float another[3] = {1.5f, -2.25f, 3.1f};
    if (s.is(OFFSET_STEP) && i == SAMPLES / 2)
        api.caliApiSetOffset(another);
    add_calibration(calibration);
    add_learnt();
    add_exported();
}

static void run_recording(const scenario &s, int index)
{
    device phone(s.how, static_cast<std::uint64_t>(index) + 100);
    random_source random(static_cast<std::uint64_t>(index) + 1000);
    start(s, index);
    for (int i = 0; i < SAMPLES; ++i)
    {
        if (s.is(RESTARTED) && (i == SAMPLES / 3 || i == SAMPLES / 2))
        {
            qvalgo_term();
            add_files();
            start(s, index);
        }
        feed(s, i, distorted(s, i, phone.next(), random));
    }
    qvalgo_disp_cfg();
    qvalgo_term();
    add_files();
}

void run_scenario(int index)
{
    const scenario &s = SCENARIOS[index];
    if (s.is(OPERATIONS_RUN))
        run_operations();
    else
        run_recording(s, index);
}
