#include "scenarios.h"

#include "api/qvs_start.h"
#include "device.h"
#include "hcal/qvhcal.h"
#include "operations.h"
#include "qv6dalgo.h"
#include "storage/qvstorage_object.h"

#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <limits>

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

static constexpr int SAMPLES = 1200;
static constexpr const char *CUSTCFG = SCENARIO_FILES[0], *CFGBAK = SCENARIO_FILES[1], *DATBAK = SCENARIO_FILES[2];

int scenario_count()
{
    constexpr int count = sizeof SCENARIOS / sizeof *SCENARIOS;
    static_assert(count <= SCENARIOS_MAX);
    return count;
}

const char *scenario_name(int index)
{
    return SCENARIOS[index].name;
}

// Every number is drawn in a statement of its own: the order of a call's arguments is the compiler's.
static void draw_settings(random_source &random)
{
    double soft_iron[3][3];
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            soft_iron[i][j] = (i == j ? 1.0 : 0.0) + random.uniform(-0.1, 0.1);
    qvalgo_config_softiron(soft_iron);

    const double best = random.uniform(3.0, 10.0), good = random.uniform(10.0, 20.0), fair = random.uniform(20.0, 30.0);
    const double bounds[3] = {fair, good, best};
    const int32_t policy = random.below(8);
    qvalgo_config_accuracy(bounds, policy);
    qvalgo_config_clearradius(random.uniform(5.0, 30.0));

    const double scatter_min = random.uniform(0.5, 3.0), scatter_max = random.uniform(30.0, 80.0);
    const double ratio = random.uniform(0.3, 0.8);
    const double span_min = random.uniform(5.0, 20.0), span_max = random.uniform(100.0, 300.0);
    qvalgo_config_calibration1(scatter_min, scatter_max, ratio, span_min, span_max);
    const int32_t size = 10 + random.below(31), discarded = random.below(3), wanted = random.below(4);
    qvalgo_config_calibration2(size, discarded, wanted);
    const double weight = random.uniform(0.9, 1.0), stable = random.uniform(0.3, 2.0);
    qvalgo_config_calibration3(weight, stable, 6.0);
}

// Numbers that no double equals: the customer file is read with the nearest one.
static void write_customer_file()
{
    static constexpr char TEXT[] = "env.simtx[0][0] = 1.0123456789012345678\nenv.simtx[0][1] = 0.03\n"
                                   "env.simtx[1][2] = -2.1e-2\nenv.simtx[2][2] = 0.98765432109876543\n"
                                   "hcal.rbufsize = 33\nhcal.rlsm.w = 0.9712345678901234567\n"
                                   "hcal.rlsm.stdev = 0.7\nhcal.motion.sendiffmin = 9.3\nhcal.accuracy[2] = 4.44\n"
                                   "fusion.inclination_alpha = 0.123\n";
    std::FILE *file = std::fopen(CUSTCFG, "w");
    std::fwrite(TEXT, sizeof TEXT - 1, 1, file);
    std::fclose(file);
}

static void start(const scenario &s, int index)
{
    if ((s.traits & DEBUG_LINES) != 0)
        qvalgo_config_debug(1);
    if ((s.traits & GYROSCOPE) != 0)
        qvalgo_config_gyrthr(0.3);
    if ((s.traits & SWITCHED_OFF) != 0)
        qvalgo_config_calibration2(0, 1, 2);
    if ((s.traits & CUSTOMER_FILE) != 0)
        write_customer_file();
    if ((s.traits & (POLAR | DRAWN)) == 0)
    {
        qvs_start(CUSTCFG, CFGBAK, DATBAK);
        return;
    }

    qvs_configure(CUSTCFG, CFGBAK, DATBAK);
    if ((s.traits & POLAR) != 0)
    {
        static constexpr double bounds[3] = {20.0, 10.0, 6.0};
        qvalgo_config_accuracy(bounds, QVHCAL_MASK_POLAR_ANGLE | QVHCAL_MASK_TRUST_FIT | QVHCAL_MASK_CLEAR_RADIUS);
    }
    random_source random(static_cast<std::uint64_t>(index));
    if ((s.traits & DRAWN) != 0)
        draw_settings(random);
    qvalgo_init();
}

static void spoil(int i, qvcrd_vec3 *acc, qvcrd_vec3 *mag)
{
    static constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    static constexpr double infinite = std::numeric_limits<double>::infinity();
    if (i % 200 == 50)
        *acc = *mag = {};
    if (i % 200 == 70)
        *mag = {1e30, -1e25, 3e-30};
    if (i == 500)
        acc->y = nan;
    if (i == 700)
        mag->z = nan;
    if (i == 900)
        *mag = {-infinite, 0.0, infinite};
}

static qvcrd_vec3 times(qvcrd_vec3 v, double by)
{
    return {v.x * by, v.y * by, v.z * by};
}

static readings distorted(const scenario &s, int i, readings r, random_source &random)
{
    qvcrd_vec3 hard_iron = {120.0, -45.0, -300.0};
    if ((s.traits & OFFSET_STEP) != 0 && i >= SAMPLES / 2)
        hard_iron = {75.0, -20.0, -260.0};
    if ((s.traits & STRONG) != 0)
        r.mag = times(r.mag, 1.7);
    r.mag = qvcrd_vec3{r.mag.x + hard_iron.x, r.mag.y + hard_iron.y, r.mag.z + hard_iron.z};
    if ((s.traits & DISTURBED) != 0 && i % 400 >= 300)
    {
        const qvcrd_vec3 magnet = random.vector(i % 800 >= 400 ? 200.0 : 20.0);
        r.mag = qvcrd_vec3{r.mag.x + magnet.x, r.mag.y + magnet.y, r.mag.z + magnet.z};
    }
    if ((s.traits & SPOILT) != 0)
        spoil(i, &r.acc, &r.mag);
    return r;
}

static qvs_sample sample(int64_t t, qvcrd_vec3 v)
{
    return {t, static_cast<float>(v.x), static_cast<float>(v.y), static_cast<float>(v.z), 0};
}

static double whole(double counts)
{
    return static_cast<double>(static_cast<int64_t>(counts + 32768.5)) - 32768.0;
}

static qvs_sample field_sample(const scenario &s, int64_t t, qvcrd_vec3 v)
{
    qvcrd_vec3 counts = times(v, 1.0 / 0.15);
    if ((s.traits & COUNTS) != 0)
        counts = {whole(counts.x), whole(counts.y), whole(counts.z)};
    return sample(t, counts);
}

static void add_sample(ledger *out, output to, const qvs_sample &s)
{
    out->add(to, s.timestamp, s.x, s.y, s.z, s.status);
}

static void add_published(ledger *out, const qvs_output &o, output xyz)
{
    out->add(EXPORTED, o.timestamp);
    out->add(xyz, o.x, o.y, o.z);
    out->add_bytes(EXPORTED, o.reserved1, sizeof o - offsetof(qvs_output, reserved1));
}

// What an operation leaves as it is shows.
template <typename T>
static T dirty()
{
    T value;
    std::memset(static_cast<void *>(&value), 0xAA, sizeof value);
    return value;
}

static void add_getters(ledger *out)
{
    const qvs_interface &api = MAG_LIB_API_INTERFACE;
    for (const auto get : {api.getGravity, api.getRotationVector, api.getLinearaccel, api.getGameRotationVector,
                           api.getGeoMagnetic, api.getVirtualGyro, api.getOrientation})
    {
        qvs_output o = dirty<qvs_output>();
        get(&o);
        add_published(out, o, get == api.getOrientation ? ORIENTATION : EXPORTED);
    }
}

template <std::size_t N>
static void add_doubles(ledger *out, output to, const double (&values)[N])
{
    for (const double value : values)
        out->add(to, value);
}

static void add_steps(ledger *out)
{
    const qvalgo_hcal_out hcal = algo_out_hcal;
    out->add(EXPORTED, hcal.accuracy, hcal.radius, hcal.update_result);
    const qvalgo_fusion_out fusion = algo_out_fusion;
    out->add(EXPORTED, fusion.valid);
    for (int i = 0; i < 3; ++i)
    {
        out->add(EXPORTED, hcal.compensated[i], hcal.offset[i], hcal.canceled[i]);
        out->add(EXPORTED, fusion.gyro[i], fusion.grav[i], fusion.lina[i]);
        out->add_angle(ORIENTATION, fusion.ornt[i]);
    }
    for (int i = 0; i < 4; ++i)
        out->add(EXPORTED, fusion.quat[i], fusion.rotv[i]);
    out->add_bytes(EXPORTED, hcal.reserved1, sizeof hcal.reserved1);
    out->add_bytes(EXPORTED, hcal.reserved2, sizeof hcal.reserved2);
    out->add_bytes(EXPORTED, fusion.reserved1, sizeof fusion.reserved1);
    out->add_bytes(EXPORTED, fusion.reserved2, sizeof fusion.reserved2);
    out->add_bytes(EXPORTED, fusion.reserved3, sizeof fusion.reserved3);
}

static void add_exported(ledger *out)
{
    add_getters(out);
    for (const qvs_output &o : {qvGravity, qvRotationVector, qvLinearaccel, qvGeoMagnetic, qvVirtualGyro})
        add_published(out, o, EXPORTED);
    add_published(out, qvOrientation, ORIENTATION);
    add_steps(out);
    for (const qvs_sample &s : {accDataIn, gyroDataIn, magDataIn})
        add_sample(out, EXPORTED, s);
    out->add(EXPORTED, accRawDataReady, gyroRawDataReady, magRawDataReady);
    add_doubles(out, EXPORTED, accel);
    add_doubles(out, EXPORTED, mag);
}

static void add_calibration(ledger *out, const qvs_calibration &c)
{
    float offset[3];
    MAG_LIB_API_INTERFACE.caliApiGetOffset(offset);
    for (int i = 0; i < 3; ++i)
        out->add(CALIBRATION, c.calibrated[i], c.offset[i], offset[i]);
    out->add(CALIBRATION, c.timestamp);
    out->add_bytes(CALIBRATION, &c.accuracy, sizeof c - offsetof(qvs_calibration, accuracy));
}

static void add_learnt(ledger *out, findings *found)
{
    const qvhcal_state &hcal = qvstorage_object.hcal;
    out->add_record(LEARNT, {{hcal.rlsm.bak, hcal.status}, qvstorage_object.fusion.bak});
    out->add(LEARNT, hcal.rbufcnt, hcal.clearchecked, hcal.motion.moving_weight);
    if (qvmaf_get_n(&hcal.amaf) == 0)
        return;
    double average[2];
    qvmaf_get_avg(&hcal.amaf, average);
    out->add(LEARNT, average[0]);
    out->add_angle(POLAR_ANGLE, average[1]);
    if ((hcal.cfg.incmask & QVHCAL_MASK_POLAR_ANGLE) != 0)
        found->margin = std::fmin(found->margin, std::fabs(average[1] - hcal.cfg.rinclination));
}

// Both record files, and of the data backup file the inclination apart.
static void add_files(ledger *out)
{
    struct __attribute__((packed))
    {
        char head[9];
        qvstorage_bak payload;
        char tail[9];
    } data = {};
    char configuration[1024] = {};
    const auto read = [](const char *name, void *to, std::size_t size)
    {
        std::FILE *file = std::fopen(name, "rb");
        if (file == nullptr)
            return std::size_t{0};
        const std::size_t length = std::fread(to, 1, size, file);
        std::fclose(file);
        return length;
    };
    out->add(FILES, static_cast<int64_t>(read(DATBAK, &data, sizeof data)));
    out->add_bytes(FILES, data.head, sizeof data.head);
    out->add_record(FILES, data.payload);
    out->add_bytes(FILES, data.tail, sizeof data.tail);
    out->add_bytes(FILES, configuration, read(CFGBAK, configuration, sizeof configuration));
}

static void feed(const scenario &s, int i, const readings &r, findings *found, ledger *out)
{
    const qvs_interface &api = MAG_LIB_API_INTERFACE;
    const int64_t t = int64_t{20'000'000} * i;
    const qvs_sample acc = sample(t, r.acc), gyr = sample(t, r.gyr), mag_in = field_sample(s, t, r.mag);
    for (const qvs_sample &in : {acc, gyr, mag_in})
        add_sample(out, INPUT, in);

    if (i >= 20) // a magnetometer is often the first to speak
        api.caliApiSetAccData(&acc);
    api.caliApiSetGyroData(&gyr);
    const double rates[3] = {gyr.x, gyr.y, gyr.z};
    if ((s.traits & GYROSCOPE) != 0)
        qvalgo_notify_data(QVENV_TYPE_GYROSCOPE, rates, static_cast<double>(t) / 1e9);

    qvs_calibration calibration = dirty<qvs_calibration>();
    api.doCaliApi(&mag_in, &calibration);
    api.caliApiSetMagData(&mag_in);
    static constexpr float another[3] = {1.5f, -2.25f, 3.1f};
    if ((s.traits & OFFSET_STEP) != 0 && i == SAMPLES / 2)
        api.caliApiSetOffset(another);
    add_calibration(out, calibration);
    add_learnt(out, found);
    add_exported(out);
}

static void run_recording(const scenario &s, int index, findings *found, ledger *out)
{
    device phone(s.how, static_cast<std::uint64_t>(index) + 100);
    random_source random(static_cast<std::uint64_t>(index) + 1000);
    start(s, index);
    for (int i = 0; i < SAMPLES; ++i)
    {
        if ((s.traits & RESTARTED) != 0 && (i == SAMPLES / 3 || i == SAMPLES / 2))
        {
            qvalgo_term();
            add_files(out);
            start(s, index);
        }
        feed(s, i, distorted(s, i, phone.next(), random), found, out);
    }
    qvalgo_disp_cfg();
    qvalgo_term();
    add_files(out);
}

void run_scenario(int index, findings *found, ledger *out)
{
    const scenario &s = SCENARIOS[index];
    found->margin = 90.0;
    if ((s.traits & OPERATIONS_RUN) == 0)
        run_recording(s, index, found, out);
    else
        run_operations(out);
    found->complete = true;
}
