#include "hcal/qvhcal.h"
#include "support.h"

#include <limits>

class Calibration : public testing::Test
{
protected:
    void SetUp() override
    {
        qvhcal_get_default_cfg(&cfg);
        init();
    }

    void init()
    {
        qvhcal_bak bak = dirty<qvhcal_bak>();
        qvhcal_get_bak(&bak, &cfg);
        restore(bak);
    }

    void restore(const qvhcal_bak &bak)
    {
        ASSERT_EQ(0, qvhcal_init(&state, &cfg, &bak));
    }

    int32_t feed(qvcrd_vec3 m)
    {
        return qvhcal_update(&state, 0, m.x, m.y, m.z, 0.0);
    }

    void tumble(int samples, qvcrd_vec3 centre, double radius)
    {
        for (int k = 0; k < samples; ++k)
            feed(on_sphere(k, centre, radius));
    }

    qvhcal_cfg cfg = dirty<qvhcal_cfg>();
    qvhcal_state state = dirty<qvhcal_state>();
};

TEST_F(Calibration, NullArgumentsAreRefusedBeforeAnythingIsTouched)
{
    qvhcal_bak bak;
    const std::string before = bytes_of(state);
    const captured_log log;
    EXPECT_EQ(-1, qvhcal_init(nullptr, &cfg, &bak));
    EXPECT_EQ(-1, qvhcal_init(&state, nullptr, &bak));
    EXPECT_EQ(-1, qvhcal_init(&state, &cfg, nullptr));
    EXPECT_EQ(before, bytes_of(state));
    EXPECT_EQ(std::vector<std::string>(3, "qvhcal_init: [ERR] qvhcal_init's parameter is NULL"), log.lines);
}

TEST_F(Calibration, FromRestToValidatedInThreeReadyBuffers)
{
    // READY at samples 25 (discarded), 49 (fitted) and 62 (validated): 1 sample and then half a buffer are kept.
    cfg.motion.senrate = 1.0;
    cfg.rlsm.stdev = 3.0;
    cfg.rlsm.routmafsize = 5;
    cfg.accuracy[0] = 600.0; // the smoother takes its time to follow
    init();
    const qvcrd_vec3 centre = {20, -10, 5};
    std::vector<int> grades, validated;
    state.status.enholicoff[1] = 3.0;
    for (int k = 0; k < 62; ++k)
    {
        if (feed(on_sphere(k, centre, 40.0)) == 0)
            validated.push_back(k + 1);
        grades.push_back(qvhcal_get_accuracy(&state));
        EXPECT_EQ(k == 24 ? 16 : k == 48 || k == 61 ? 17 : 18, state.status.motion_result) << k;
    }
    EXPECT_EQ(std::vector<int>{62}, validated);
    EXPECT_EQ(0, grades[47]);
    EXPECT_EQ(1, grades[48]);
    EXPECT_EQ(3, grades[61]);
    EXPECT_EQ(12, state.rbufcnt);
    EXPECT_BITS(0.0, qvhcal_get_enholicoff(&state).y);
    EXPECT_EQ(QVRLSM_RUNLEVEL_ACCEPTED, qvrlsm_get_runlevel(&state.rlsm));
    EXPECT_NEAR(20.0, qvhcal_get_offset(&state).x, 0.1);
    EXPECT_NEAR(40.0, qvhcal_get_radius(&state), 0.1);
}

TEST_F(Calibration, OnlyARisingGradePublishesWhatIsNotValidated)
{
    cfg.motion.senrate = 1.0;
    cfg.readycnt = 6; // fits 1 and 2 show grade 0, fit 3 raises it to 1, fits 4 and 5 keep it
    init();
    qvcrd_vec3 published = {};
    for (int k = 0; k < 120 && state.status.readycnt < 5; ++k)
    {
        feed(qvcrd_sum(on_sphere(k, {20, -10, 5}, 40.0), {0.05 * k, 0, 0})); // the offset wanders
        if (state.status.readycnt == 3)
            published = qvhcal_get_offset(&state);
    }
    EXPECT_EQ(5, state.status.readycnt);
    EXPECT_NE(0.0, published.x);
    EXPECT_BITS(published.x, qvhcal_get_offset(&state).x);
}

TEST_F(Calibration, DisabledCalibrationPassesTheFieldThrough)
{
    cfg.rbufsize = 0;
    init();
    EXPECT_EQ(0, feed({1, 2, 3}));
    EXPECT_BITS(3.0, qvhcal_get_canceled(&state).z);
    EXPECT_BITS(3.0, qvhcal_get_uncanceled(&state).z);
    EXPECT_EQ(16, state.status.motion_result);
}

TEST_F(Calibration, BufferSizesOutsideTheStorageStayInside)
{
    const struct
    {
        int32_t configured, count;
    } cases[] = {{41, 40}, {INT32_MAX, 40}, {40, 40}, {1, 1}};
    for (const auto &c : cases)
    {
        cfg.rbufsize = c.configured;
        init();
        int32_t most = 0;
        for (int k = 0; k < 100; ++k)
        {
            push_rawuT(&state, k, 0, 0);
            most = std::max(most, state.rbufcnt);
        }
        EXPECT_EQ(c.count, most);
        EXPECT_BITS(99.0, state.rbuf[0].x);
    }
    for (const int32_t negative : {-1, -40, INT32_MIN})
    {
        cfg.rbufsize = negative;
        init();
        tumble(60, {0, 0, 0}, 45.0); // once moved rows by a negative count
        EXPECT_EQ(0, state.status.calibrated);
    }
}

TEST_F(Calibration, RestoredIntegersCanBeAnything)
{
    for (const int32_t extreme : {INT32_MIN, -1, INT32_MAX})
    {
        qvhcal_bak bak;
        qvhcal_get_bak(&bak, &cfg);
        bak.rlsm.runlevel = bak.rlsm.stabled = extreme;
        bak.status.calibrated = bak.status.rep_accuracy = bak.status.readycnt = extreme;
        bak.status.motion_movement = bak.status.motion_result = extreme;
        for (const int32_t dummycnt : {0, extreme})
        {
            bak.status.dummycnt = dummycnt;
            restore(bak);
            tumble(200, {20, -10, 5}, 40.0); // once counted past the largest integer
            EXPECT_TRUE(dummycnt > 0 || state.status.readycnt <= cfg.readycnt);
            EXPECT_TRUE(state.status.rep_accuracy >= 0 && state.status.rep_accuracy <= 3);
        }
    }
}

TEST_F(Calibration, ClearKeepsWhatIsPublishedAndTheNewestSample)
{
    tumble(200, {20, -10, 5}, 40.0);
    const qvhcal_status before = state.status;
    const qvcrd_vec3 newest = state.rbuf[0];
    const captured_log log;
    qvhcal_clear(&state);
    EXPECT_EQ(1, state.rbufcnt);
    EXPECT_BITS(newest.x, state.rbuf[0].x);
    EXPECT_EQ(0, state.motion.moving_weight);
    EXPECT_EQ(QVRLSM_RUNLEVEL_FRESH, qvrlsm_get_runlevel(&state.rlsm));
    EXPECT_EQ(0, std::memcmp(before.rep_offset, state.status.rep_offset, sizeof before.rep_offset));
    EXPECT_EQ(cfg.rdummycnt, state.status.dummycnt);
    EXPECT_EQ(0, state.status.readycnt);
    EXPECT_EQ(std::vector<std::string>{"qvhcal_clear: [INFO] HCAL CLEARD(RESET)"}, log.lines);

    cfg.readycnt = 0;
    init();
    qvhcal_clear(&state);
    EXPECT_EQ(-2, state.status.readycnt);
}

TEST_F(Calibration, EstimateNeedsFiveSamplesThreeMicroteslaApart)
{
    const auto estimate = [this](double spacing, int kept, int filled = 25)
    {
        init();
        for (int k = 0; k < 25; ++k)
        {
            const double step = std::min(k, kept - 1) * spacing;
            state.rbuf[k] = {step, step * step / 9.0, k % 2 * 0.01};
        }
        state.rbufcnt = filled;
        qvcrd_vec3 offset;
        double radius;
        estimate_offset(&state, &offset, &radius);
        return qvrlsm_get_runlevel(&state.rlsm); // seeded as soon as a batch fit ran, whatever comes of it
    };
    EXPECT_EQ(QVRLSM_RUNLEVEL_SEEDED, estimate(6.0, 5));
    EXPECT_EQ(QVRLSM_RUNLEVEL_FRESH, estimate(6.0, 4));
    EXPECT_EQ(QVRLSM_RUNLEVEL_SEEDED, estimate(3.1, 5));
    EXPECT_EQ(QVRLSM_RUNLEVEL_FRESH, estimate(0.1, 25));
    EXPECT_EQ(QVRLSM_RUNLEVEL_FRESH, estimate(6.0, 5, 24));
}

TEST_F(Calibration, EstimateRefusesSpheresBeyondTheEarthsField)
{
    cfg.rlsm.stdev = 100.0;
    cfg.rlsm.routmafsize = 1;
    for (const double true_radius : {69.0, 71.0})
    {
        init();
        for (int k = 0; k < 25; ++k)
            state.rbuf[k] = on_sphere(k, {0, 0, 0}, true_radius);
        state.rbuf[24].x += 0.5;
        state.rbufcnt = 25;
        qvrlsm_state fed = state.rlsm; // seeded from the batch fit, then the oldest sample first
        qvrlsm_lsm(&fed, state.rbuf, 25);
        for (int k = 24; k >= 0; --k)
            qvrlsm_update(&fed, state.rbuf[k].x, state.rbuf[k].y, state.rbuf[k].z);
        qvcrd_vec3 offset;
        double radius;
        EXPECT_EQ(true_radius < 70.0 ? 0 : -1, estimate_offset(&state, &offset, &radius));
        EXPECT_NEAR(true_radius, radius, 0.5);
        EXPECT_BITS(qvrlsm_get_radius(&fed), radius);
        EXPECT_EQ(true_radius < 70.0 ? 2 : 1, qvrlsm_get_runlevel(&state.rlsm));
    }
}

struct grading
{
    int32_t calibrated, readycnt, dummycnt, previous, mask;
    double distance;
    int32_t grade;
    const char *why;
};

TEST_F(Calibration, Grades)
{
    const grading cases[] = {
        {0, 0, 0, 0, 2, 0.0, 0, "nothing fitted yet"},
        {0, 1, 0, 0, 2, 0.0, 1, "half of the READY buffers"},
        {0, 2, 0, 0, 2, 0.0, 2, "all of them"},
        {0, 1, 0, 2, 2, 0.0, 2, "a grade of 2 is kept"},
        {0, 2, 1, 2, 2, 0.0, 0, "buffers to be discarded first"},
        {1, 2, 0, 2, 0, 5.5, 2, "rises only 1 below the bound"},
        {1, 2, 0, 2, 0, 4.9, 3, "and there it does"},
        {1, 2, 0, 3, 0, 6.5, 3, "falls only 1 above the bound"},
        {1, 2, 0, 3, 0, 7.0, 2, "and there it does"},
        {1, 2, 0, 1, 0, 20.5, 1, "the lowest bound too"},
        {1, 2, 0, 1, 0, 21.0, 0, "beyond it the calibration is thrown away"},
        {1, 2, 0, 1, 2, 15.0, 3, "mask 2 trusts the fit"},
        {1, 2, 0, 1, 6, 15.0, 0, "mask 4 clears at the first check"},
        {1, 2, 0, 1, 6, 9.0, 3, "within the clear radius"},
        {0, 2, 0, 0, 4, 15.0, 2, "which only a validated offset is checked for"},
        {1, 2, 0, 3, 3, 0.0, 2, "mask 1 lowers a field along z, and then mask 2 does nothing"},
    };
    for (const grading &c : cases)
    {
        cfg.incmask = c.mask;
        cfg.amafsize = 1;
        init();
        state.status.calibrated = c.calibrated;
        state.status.readycnt = c.readycnt;
        state.status.dummycnt = c.dummycnt;
        state.status.rep_accuracy = c.previous;
        state.status.rep_radius = 45.0;
        EXPECT_EQ(c.grade, update_accuracy(&state, {0, 0, 45.0 + c.distance})) << c.why;
        EXPECT_EQ(c.grade == 0 ? 0 : c.calibrated, state.status.calibrated) << c.why;
    }
}

TEST_F(Calibration, ClearRadiusIsCheckedOnce)
{
    cfg.incmask = 4;
    cfg.amafsize = 1;
    init();
    state.status.calibrated = 1;
    state.status.rep_radius = 45.0;
    update_accuracy(&state, {0, 0, 45});
    EXPECT_EQ(1, state.clearchecked);
    update_accuracy(&state, {0, 0, 57});
    EXPECT_EQ(1, state.status.calibrated);
}

TEST_F(Calibration, PolarAngleIsMeasuredWithItsOwnDegree)
{
    const captured_log log;
    state.cfg.endbg = 1;
    state.cfg.rinclination = 90.0;
    update_accuracy(&state, {3, 4, 0});
    update_accuracy(&state, {0, 0, 0}); // no division
    EXPECT_EQ("update_accuracy: update_accuracy (5.000:5.000)-(0.000)=5.000  0(2) 90.000(<90.000) 0", log.lines[0]);
    EXPECT_EQ("update_accuracy: update_accuracy (0.000:2.500)-(0.000)=2.500  0(3) 45.000(<90.000) 0", log.lines[1]);
    init();
    state.cfg.incmask = QVHCAL_MASK_POLAR_ANGLE;
    state.cfg.rinclination = 90.0002; // pi / 2 is 90.0003 of its degrees
    state.status.calibrated = 1;
    EXPECT_EQ(3, update_accuracy(&state, {1, 0, 0}));
}

TEST_F(Calibration, SmootherStartsAtItsInputAndLearnsTheNoise)
{
    exponential_init();
    const captured_log log;
    state.cfg.endbg = 1;
    const qvcrd_vec3 first = exponential_smothing(&state, 10, 20, 30);
    EXPECT_BITS(20.0, first.y);
    EXPECT_EQ(1,
              log.count("expo_smooth1 0.497, 0.497, 0.497, 300.000, 300.000, 300.000, 10.000, 20.000, 30.000, 10.000"));
    state.cfg.endbg = 0;
    for (int k = 0; k < 1000; ++k)
        EXPECT_BITS(20.0, exponential_smothing(&state, 10, 20, 30).y);

    // The band has narrowed to 0.2: a mean 0.25 away is outside, and the output takes 1/300 of it.
    const double mean = (10.5 + 10.0) * 0.5;
    EXPECT_BITS((10.0 * 299.0 + mean * (300.0 - 299.0)) / 300.0, exponential_smothing(&state, 10.5, 20, 30).x);
    EXPECT_BITS(20.0, exponential_smothing(&state, 10.5, 20, 30).y);

    for (int k = 0; k < 400; ++k)
    {
        state.cfg.endbg = k == 399;
        exponential_smothing(&state, k * 10.0, 20, 30);
    }
    EXPECT_EQ(1, log.count(", 10.000, 300.000, 300.000, ")) << "the weight's floor";
}

TEST_F(Calibration, AValueThatIsNotANumberNeverLeavesTheSmoother)
{
    tumble(30, {0, 0, 0}, 45.0);
    feed({std::nan(""), 0, 0});
    feed({std::numeric_limits<double>::infinity(), -1e308, 1e308});
    tumble(100, {0, 0, 0}, 45.0);
    EXPECT_TRUE(std::isnan(qvhcal_get_canceled(&state).x));
    EXPECT_EQ(0, qvhcal_get_accuracy(&state));
    init();
    feed({1, 2, 3});
    EXPECT_BITS(1.0, qvhcal_get_canceled(&state).x);
}

TEST_F(Calibration, NoiseOfEitherKindStartsOver)
{
    const captured_log log;
    for (const double x : {0.0, 400.0, 0.0})
        feed({x, 0, 0});
    EXPECT_EQ(2, state.status.motion_movement);
    EXPECT_EQ(1, log.count("HCAL CLEARD(RESET)"));
    EXPECT_EQ(1, state.rbufcnt);

    cfg.motion.senrate = 1.0;
    cfg.motion.stdevmax = 1000.0;
    init();
    tumble(25, {0, 0, 0}, 100.0);
    EXPECT_EQ(18, state.status.motion_result);
    EXPECT_EQ(2, log.count("HCAL CLEARD(RESET)"));
    EXPECT_EQ(1, state.rbufcnt);
}
