// The library as it is shipped, where a sample takes the lean way, against the documented operations: those are used
// while debug lines are on. Random recordings under random settings, over restarts, and every byte after every call.

#include "lean/spread.h"
#include "storage/qvstorage_object.h"
#include "support.h"

#include <array>
#include <dlfcn.h>
#include <fcntl.h>
#include <random>
#include <unistd.h>
#include <utility>

namespace
{

// Its operations, and the files that it uses.
struct library
{
    decltype(&qvalgo_config_accuracy) config_accuracy;
    decltype(&qvalgo_config_accthr) config_accthr;
    decltype(&qvalgo_config_calibration1) config_calibration1;
    decltype(&qvalgo_config_calibration2) config_calibration2;
    decltype(&qvalgo_config_clearradius) config_clearradius;
    decltype(&qvalgo_config_gyrthr) config_gyrthr;
    decltype(&qvalgo_config_path) config_path;
    decltype(&qvalgo_config_softiron) config_softiron;
    decltype(&qvalgo_init) init;
    decltype(&qvalgo_notify_data) notify_data;
    decltype(&qvalgo_term) term;
    decltype(&QVS_doCaliApi) doCaliApi;
    decltype(&QVS_caliApiSetAccData) caliApiSetAccData;
    decltype(&QVS_caliApiSetMagData) caliApiSetMagData;
    std::string customer, configuration, data; // files
};

struct exported
{
    const char *name;
    const void *shipped, *documented;
    std::size_t size, unit; // bytes: of all, and of the numbers in it
};

struct recorded
{
    qvs_sample acc, field;
    std::array<double, 3> rates;
};

// What a session is made of, drawn from a seed.
struct session
{
    std::vector<recorded> samples;
    std::string customer_file;
    double soft_iron[3][3], accuracy[3], motion[5], clearradius, accthr, aweight, gyrthr;
    int32_t buffer[3], policy;
};

class source
{
public:
    explicit source(unsigned seed) : bits_(seed)
    {
    }

    double uniform(double low, double high)
    {
        return low + (high - low) * static_cast<double>(bits_() >> 11) * 0x1p-53;
    }

    // Near zero, without bounds.
    double noise()
    {
        return uniform(-1, 1) + uniform(-1, 1) + uniform(-1, 1);
    }

    int below(int n)
    {
        return static_cast<int>(bits_() % static_cast<unsigned>(n));
    }

    template <typename T>
    T one_of(std::initializer_list<T> values)
    {
        return values.begin()[below(static_cast<int>(values.size()))];
    }

private:
    std::mt19937_64 bits_;
};

} // namespace

// A turned, jolted or resting device in a field that now and then changes, and what sensors say that are at fault.
static std::vector<recorded> draw_samples(source &random, bool faults)
{
    std::vector<recorded> samples(random.one_of({40u, 400u, 1500u}));
    double turn[3] = {1, 0.5, 0.2}, hard_iron[3] = {30 * random.noise(), -20, 250}, speed = 0.1, gravity = 9.8;
    const bool counts = random.below(3) == 0;
    for (std::size_t i = 0; i < samples.size(); ++i)
    {
        if (random.below(150) == 0)
            speed = random.one_of({0.0, 0.002, 0.05, 0.2});
        if (random.below(300) == 0)
            hard_iron[random.below(3)] += 60 * random.noise();
        if (random.below(300) == 0)
            gravity = random.uniform(8, 12);
        double length = 0;
        for (double &axis : turn)
            length += std::pow(axis += speed * random.noise(), 2);
        const auto time = static_cast<int64_t>(i) * 20'000'000;
        float acc[3], field[3];
        for (int axis = 0; axis < 3; ++axis)
        {
            const double direction = turn[axis] / std::sqrt(length), level = axis == 2 ? gravity : 0.0;
            acc[axis] = static_cast<float>((random.below(3) == 0 ? level : gravity * direction) + 0.1 * random.noise());
            field[axis] = static_cast<float>((hard_iron[axis] + 45 * direction + 0.2 * random.noise()) / 0.15);
            if (counts)
                field[axis] = std::rint(field[axis]);
        }
        if (random.below(40) == 0) // too small, or too large, for an exact sum
            acc[random.below(3)] = random.one_of({1e-7f, -3e-9f, 1e-20f, -0.0f, 128.5f, -3e5f});
        if (random.below(200) == 0)
            (random.below(2) == 0 ? acc : field)[random.below(3)] = 0;
        if (faults && random.below(60) == 0)
            (random.below(2) == 0 ? acc : field)[random.below(3)] =
                random.one_of({NAN, HUGE_VALF, -HUGE_VALF, 1e30f, -1e12f});
        if (faults && random.below(200) == 0)
            std::fill_n(acc, 3, 0.0f);
        samples[i] = {{time, acc[0], acc[1], acc[2], 3},
                      {time, field[0], field[1], field[2], 3},
                      {random.uniform(-1, 1), random.uniform(-1, 1), random.uniform(-1, 1)}};
    }
    return samples;
}

// The deviations of the first ten fields, on the way in: a limit that movement meets to the last bit.
static qvcrd_vec3 first_deviation(const std::vector<recorded> &samples)
{
    qvcrd_vec3 newest_first[10];
    for (int i = 0; i < 10; ++i)
    {
        const qvs_sample &s = samples[static_cast<std::size_t>(9 - i)].field;
        newest_first[i] = {s.x * QV6D_MICROTESLA_PER_COUNT, s.y * QV6D_MICROTESLA_PER_COUNT,
                           s.z * QV6D_MICROTESLA_PER_COUNT};
    }
    return qvcrd_get_stdev(newest_first, 10);
}

static session draw_session(source &random, bool faults)
{
    session s;
    s.samples = draw_samples(random, faults);
    const bool bent = random.below(3) == 0;
    for (int i = 0; i < 9; ++i)
        s.soft_iron[i / 3][i % 3] = (i % 4 == 0 ? 1.0 : 0.0) + (bent ? 0.05 * random.noise() : 0.0);

    const double low = random.uniform(1, 8);
    const auto bounds = random.one_of<std::array<double, 3>>({{600, 50, 6}, {20, 10, 6}, {3 * low, 2 * low, low}});
    std::copy(bounds.begin(), bounds.end(), s.accuracy);
    s.policy = random.one_of({6, 6, random.below(8)});
    s.clearradius = random.uniform(2, 20);
    s.accthr = random.one_of({0.0, 0.06, 0.5});
    s.aweight = random.one_of({0.999999, 0.99, 0.1, 0.7, -3.0, 2.0, 1e300, HUGE_VAL, static_cast<double>(NAN)});
    s.gyrthr = random.one_of({0.0, 0.0, 0.0, 0.4});

    const qvcrd_vec3 met = first_deviation(s.samples);
    const bool usual = random.below(2) == 0;
    s.motion[0] = usual ? 1.5 : std::min({met.x, met.y, met.z});
    s.motion[1] = usual ? 50.0 : random.one_of({std::max({met.x, met.y, met.z}), 20.0, -1.0});
    s.motion[2] = random.uniform(0.3, 0.9);
    s.motion[3] = random.uniform(1, 15);
    s.motion[4] = random.uniform(60, 200);
    const auto buffer =
        random.one_of<std::array<int32_t, 3>>({{25, 1, 2}, {random.below(45) - 2, random.below(3), random.below(5)}});
    std::copy(buffer.begin(), buffer.end(), s.buffer);
    s.customer_file = "hcal.rlsm.stdev = " + std::to_string(random.one_of({0.3, 3.0, 30.0})) + "\n";
    if (random.below(3) == 0)
        s.customer_file += "hcal.rlsm.routmafsize = " + std::to_string(random.one_of({0, random.below(41)})) + "\n";
    return s;
}

static void start(const library &lib, const session &s)
{
    lib.config_softiron(s.soft_iron);
    lib.config_accuracy(s.accuracy, s.policy);
    lib.config_clearradius(s.clearradius);
    lib.config_accthr(s.accthr, s.aweight);
    lib.config_gyrthr(s.gyrthr);
    lib.config_calibration1(s.motion[0], s.motion[1], s.motion[2], s.motion[3], s.motion[4]);
    lib.config_calibration2(s.buffer[0], s.buffer[1], s.buffer[2]);
    lib.config_path(lib.customer.c_str(), lib.configuration.c_str(), lib.data.c_str());
    EXPECT_EQ(lib.init(), 0);
}

// As debug lines do it, without a difference in the files.
static void take_documented_way()
{
    qvstorage &own = qvstorage_object;
    own.env.cfg.endbg = own.fusion.cfg.endbg = 1;
    own.hcal.cfg.endbg = own.hcal.motion.cfg.endbg = own.hcal.rlsm.cfg.endbg = 1;
}

static bool is_nan(const void *at, std::size_t unit)
{
    double wide;
    float narrow;
    std::memcpy(&wide, at, sizeof wide);
    std::memcpy(&narrow, at, sizeof narrow);
    return unit == sizeof wide ? std::isnan(wide) : std::isnan(narrow);
}

// The sign and the payload of what is not a number are the compiler's choice.
static bool same_numbers(const void *a, const void *b, std::size_t size, std::size_t unit)
{
    const auto *left = static_cast<const char *>(a), *right = static_cast<const char *>(b);
    for (std::size_t at = 0; at < size; at += unit)
        if (std::memcmp(left + at, right + at, unit) != 0 && !(is_nan(left + at, unit) && is_nan(right + at, unit)))
            return false;
    return true;
}

namespace
{

// Both libraries, in a folder of their own, and what they export.
class Lean : public testing::Test
{
protected:
    void SetUp() override
    {
        handle_ = dlopen(QV6D_SHARED_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(handle_, nullptr) << dlerror();
        take("qvalgo_config_accuracy", &library::config_accuracy, qvalgo_config_accuracy);
        take("qvalgo_config_accthr", &library::config_accthr, qvalgo_config_accthr);
        take("qvalgo_config_calibration1", &library::config_calibration1, qvalgo_config_calibration1);
        take("qvalgo_config_calibration2", &library::config_calibration2, qvalgo_config_calibration2);
        take("qvalgo_config_clearradius", &library::config_clearradius, qvalgo_config_clearradius);
        take("qvalgo_config_gyrthr", &library::config_gyrthr, qvalgo_config_gyrthr);
        take("qvalgo_config_path", &library::config_path, qvalgo_config_path);
        take("qvalgo_config_softiron", &library::config_softiron, qvalgo_config_softiron);
        take("qvalgo_init", &library::init, qvalgo_init);
        take("qvalgo_notify_data", &library::notify_data, qvalgo_notify_data);
        take("qvalgo_term", &library::term, qvalgo_term);
        take("QVS_doCaliApi", &library::doCaliApi, QVS_doCaliApi);
        take("QVS_caliApiSetAccData", &library::caliApiSetAccData, QVS_caliApiSetAccData);
        take("QVS_caliApiSetMagData", &library::caliApiSetMagData, QVS_caliApiSetMagData);
        shipped_.customer = documented_.customer = folder_ / "customer";
        shipped_.configuration = folder_ / "1.cfg", shipped_.data = folder_ / "1.dat";
        documented_.configuration = folder_ / "2.cfg", documented_.data = folder_ / "2.dat";
        compare("accel", &accel, sizeof(double));
        compare("mag", &mag, sizeof(double));
        compare("algo_out_hcal", &algo_out_hcal, sizeof(double));
        compare("algo_out_fusion", &algo_out_fusion, sizeof(double));
        compare("qvGravity", &qvGravity, sizeof(float));
        compare("qvRotationVector", &qvRotationVector, sizeof(float));
        compare("qvOrientation", &qvOrientation, sizeof(float));
        compare("qvLinearaccel", &qvLinearaccel, sizeof(float));
        compare("qvGeoMagnetic", &qvGeoMagnetic, sizeof(float));
        compare("qvVirtualGyro", &qvVirtualGyro, sizeof(float));
        // The shipped library calls its own log, which writes to standard error.
        stderr_ = dup(STDERR_FILENO);
        const int log = open((folder_ / "log").c_str(), O_RDWR | O_CREAT | O_APPEND, 0600);
        dup2(log, STDERR_FILENO);
        close(log);
        qv6d::set_log_sink(
            [this](const qv6d::log_entry &line)
            {
                if (line.reports())
                    documented_log_ += std::string(line.said()) + "\n";
            });
    }

    void TearDown() override
    {
        dup2(stderr_, STDERR_FILENO);
        close(stderr_);
        qv6d::set_log_sink(nullptr);
    }

    template <typename Function>
    void take(const char *name, Function library::*operation, Function own)
    {
        documented_.*operation = own;
        shipped_.*operation = reinterpret_cast<Function>(dlsym(handle_, name));
        ASSERT_NE(shipped_.*operation, nullptr) << name;
    }

    template <typename Variable>
    void compare(const char *name, const Variable *own, std::size_t unit)
    {
        const void *theirs = dlsym(handle_, name);
        ASSERT_NE(theirs, nullptr) << name;
        exported_.push_back({name, theirs, own, sizeof *own, unit});
    }

    testing::AssertionResult agree() const
    {
        for (const exported &e : exported_)
            if (!same_numbers(e.shipped, e.documented, e.size, e.unit))
                return testing::AssertionFailure() << e.name;
        return testing::AssertionSuccess();
    }

    void begin(const session &s)
    {
        write_file(shipped_.customer, s.customer_file);
        start(shipped_, s);
        start(documented_, s);
        take_documented_way();
    }

    testing::AssertionResult feed(const recorded &r, source &random)
    {
        const int left_out = random.below(16);
        auto ours = dirty<qvs_calibration>(), theirs = ours;
        for (const auto &[lib, result] : {std::pair(&shipped_, &theirs), std::pair(&documented_, &ours)})
        {
            lib->notify_data(QV6D_SENSOR_GYROSCOPE, r.rates.data(), 0.0);
            if (left_out != 0)
                lib->doCaliApi(&r.field, result);
            if (left_out != 1)
                lib->caliApiSetAccData(&r.acc);
            if (left_out != 2)
                lib->caliApiSetMagData(&r.field);
        }
        if (!same_numbers(&ours, &theirs, sizeof ours, sizeof(float)))
            return testing::AssertionFailure() << "the result of QVS_doCaliApi";
        return agree();
    }

    // What both said since the last call: lines that do not depend on debug switches.
    std::pair<std::string, std::string> take_logs()
    {
        std::ifstream lines(folder_ / "log");
        std::string shipped;
        for (std::string line; std::getline(lines, line);)
        {
            const std::size_t begin = std::min(line.find("]  [INFO] "), line.find("]  [ERR] "));
            if (begin != std::string::npos)
                shipped += line.substr(begin + 3) + "\n";
        }
        EXPECT_EQ(0, truncate((folder_ / "log").c_str(), 0));
        return {shipped, std::exchange(documented_log_, "")};
    }

    library shipped_, documented_;

private:
    temporary_directory folder_;
    void *handle_ = nullptr;
    int stderr_ = -1;
    std::string documented_log_;
    std::vector<exported> exported_;
};

} // namespace

TEST_F(Lean, AgreesWithTheDocumentedOperations)
{
    source first(1);
    take_documented_way(); // of a library that has not been initialised
    for (const recorded &r : draw_samples(first, false))
        ASSERT_TRUE(feed(r, first));

    for (unsigned seed = 0; seed < QV6D_SESSIONS; ++seed)
    {
        source random(seed);
        const bool faults = seed % 4 == 0;
        session s = draw_session(random, faults);
        for (int starts = 1 + random.below(3); starts > 0; --starts)
        {
            begin(s);
            take_logs(); // which show the names of the files
            for (std::size_t i = 0; i < s.samples.size(); ++i)
                ASSERT_TRUE(feed(s.samples[i], random)) << "seed " << seed << ", " << starts << ", sample " << i;
            shipped_.term();
            documented_.term();
            if (!faults)
            {
                ASSERT_EQ(read_file(shipped_.data), read_file(documented_.data)) << "seed " << seed << ", " << starts;
            }
            const auto [shipped, documented] = take_logs();
            ASSERT_EQ(documented, shipped) << "seed " << seed << ", " << starts;
            s.samples = draw_samples(random, faults); // under the same settings the calibration goes on
        }
        std::filesystem::remove(shipped_.data);
        std::filesystem::remove(documented_.data);
    }
}

// Buffers that grow and are cut, near to the origin and far away, against limits that their deviations meet, miss by a
// last bit, or are not near at all.
TEST(Spread, NeverContradictsTheDeviation)
{
    source random(1);
    spread sums = {};
    int asked = 0, unsure = 0;
    for (int i = 0; i < 3000; ++i)
    {
        const bool far = random.below(3) == 0;
        const double from = far ? std::pow(10, random.uniform(3, 14)) : 300,
                     scatter = std::pow(10, random.uniform(-3, 2));
        qvcrd_vec3 buffer[40];
        for (qvcrd_vec3 &v : buffer)
            v = {from + scatter * random.noise(), -from + scatter * random.noise(), scatter * random.noise()};
        for (int n = random.one_of({1, 12}); n <= 40; ++n)
        {
            const qvcrd_vec3 *newest = buffer + (40 - n);
            spread_follow(&sums, newest, n);
            const qvcrd_vec3 deviation = qvcrd_get_stdev(newest, n);
            const double smallest = std::min({deviation.x, deviation.y, deviation.z});
            for (const double limit : {smallest, std::nextafter(smallest, 1e9), smallest * 0.9, 1.5, -1.0})
            {
                const spread_side side = spread_smallest(sums, limit);
                ASSERT_TRUE(side == spread_side::unsure || (side == spread_side::above) == (smallest >= limit))
                    << i << " " << n << " " << limit;
                asked += limit == 1.5 && !far;
                unsure += limit == 1.5 && !far && side == spread_side::unsure;
            }
            const double largest = std::max({deviation.x, deviation.y, deviation.z});
            for (const double limit : {largest, std::nextafter(largest, 0.0), largest * 1.1, 50.0})
                ASSERT_TRUE(spread_largest(sums, limit) != spread_side::below || !(largest > limit))
                    << i << " " << n << " " << limit;
        }
    }
    EXPECT_LT(unsure, asked / 1000);
}
