#include "hcal/qvhcal.h"
#include "support.h"

#include <limits>

struct Calibration : testing::Test
{
    Calibration()
    {
        qvhcal_get_default_cfg(&cfg);
        init();
    }

    void init()
    {
        qvhcal_bak bak = dirty<qvhcal_bak>();
        qvhcal_get_bak(&bak, &cfg);
        EXPECT_EQ(0, qvhcal_init(&state, &cfg, &bak));
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

TEST_F(Calibration, FromRestToValidatedInThreeReadyBuffers)
{
    // READY at samples 25 (discarded), 49 (fitted) and 62 (validated): 1 sample and then half a buffer are kept.
    cfg.motion.senrate = 1.0;
    cfg.rlsm.stdev = 3.0;
    cfg.rlsm.routmafsize = 5;
    cfg.accuracy[0] = QV6D_INIT_RANGE_LOW; // the smoother takes its time to follow
    init();
    state.status.enholicoff[1] = 3.0;
    for (int k = 1; k <= 62; ++k)
    {
        EXPECT_EQ(k == 62 ? 0 : -1, feed(on_sphere(k, {20, -10, 5}, 40.0)));
        EXPECT_EQ(k < 49   ? QV6D_GRADE_UNRELIABLE
                  : k < 62 ? QV6D_GRADE_LOW
                           : QV6D_GRADE_BEST,
                  qvhcal_get_accuracy(&state))
            << k;
        const auto ready = k == 49 || k == 62 ? QVMOTION_RESULT__READY : QVMOTION_RESULT__NOISE2;
        EXPECT_EQ(k == 25 ? QVMOTION_RESULT__UNKNOWN : ready, state.status.motion_result) << k;
    }
    EXPECT_EQ(12, state.rbufcnt);
    EXPECT_EQ(QVRLSM_RUNLEVEL_ACCEPTED, qvrlsm_get_runlevel(&state.rlsm));
    EXPECT_TRUE(near({20, -10, 5}, qvhcal_get_offset(&state), 0.1));
    EXPECT_NEAR(40.0, qvhcal_get_radius(&state), 0.1);
    EXPECT_BITS({0, 0, 0}, qvhcal_get_enholicoff(&state));
}

TEST_F(Calibration, BufferSizesOutsideTheStorageStayInside)
{
    const std::pair<int32_t, int32_t> cases[] = {{41, 40}, {INT32_MAX, 40}, {40, 40}, {1, 1}};
    for (const auto &[configured, count] : cases)
    {
        cfg.rbufsize = configured;
        init();
        for (int k = 0; k < 100; ++k)
        {
            push_rawuT(&state, k, 0, 0);
            EXPECT_EQ(std::min(k + 1, count), state.rbufcnt);
        }
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
        state.rbufcnt = 25;
        qvcrd_vec3 offset;
        double radius;
        EXPECT_EQ(true_radius < 70.0 ? 0 : -1, estimate_offset(&state, &offset, &radius));
        EXPECT_NEAR(true_radius, radius, 0.5);
        EXPECT_EQ(true_radius < 70.0 ? QVRLSM_RUNLEVEL_ACCEPTED : QVRLSM_RUNLEVEL_SEEDED,
                  qvrlsm_get_runlevel(&state.rlsm));
    }
}

TEST_F(Calibration, Grades)
{
    const struct
    {
        int32_t calibrated, readycnt, dummycnt, previous, mask;
        double distance;
        int32_t grade;
        const char *why;
    } cases[] = {
        {0, 0, 0, QV6D_GRADE_UNRELIABLE, QV6D_POLICY_TRUST_FIT, 0.0, QV6D_GRADE_UNRELIABLE, "nothing fitted yet"},
        {0, 1, 0, QV6D_GRADE_UNRELIABLE, QV6D_POLICY_TRUST_FIT, 0.0, QV6D_GRADE_LOW, "half of the READY buffers"},
        {0, 2, 0, QV6D_GRADE_UNRELIABLE, QV6D_POLICY_TRUST_FIT, 0.0, QV6D_GRADE_MEDIUM, "all of them"},
        {0, 1, 0, QV6D_GRADE_MEDIUM, QV6D_POLICY_TRUST_FIT, 0.0, QV6D_GRADE_MEDIUM, "which is kept"},
        {0, 2, 1, QV6D_GRADE_MEDIUM, QV6D_POLICY_TRUST_FIT, 0.0, QV6D_GRADE_UNRELIABLE, "buffers to discard first"},
        {1, 2, 0, QV6D_GRADE_MEDIUM, 0, 5.5, QV6D_GRADE_MEDIUM, "rises only 1 below the bound"},
        {1, 2, 0, QV6D_GRADE_MEDIUM, 0, 4.9, QV6D_GRADE_BEST, "and there it does"},
        {1, 2, 0, QV6D_GRADE_BEST, 0, 6.5, QV6D_GRADE_BEST, "falls only 1 above the bound"},
        {1, 2, 0, QV6D_GRADE_BEST, 0, 7.0, QV6D_GRADE_MEDIUM, "and there it does"},
        {1, 2, 0, QV6D_GRADE_LOW, 0, 20.5, QV6D_GRADE_LOW, "the lowest bound too"},
        {1, 2, 0, QV6D_GRADE_LOW, 0, 21.0, QV6D_GRADE_UNRELIABLE, "beyond it the calibration is thrown away"},
        {1, 2, 0, QV6D_GRADE_LOW, QV6D_POLICY_TRUST_FIT, 15.0, QV6D_GRADE_BEST, "the fit is trusted"},
        {1, 2, 0, QV6D_GRADE_BEST, QV6D_POLICY_POLAR_ANGLE | QV6D_POLICY_TRUST_FIT, 0.0, QV6D_GRADE_MEDIUM,
         "a field along z is lowered, and then the fit is not trusted"},
        {0, 2, 0, QV6D_GRADE_UNRELIABLE, QV6D_POLICY_CLEAR_RADIUS, 15.0, QV6D_GRADE_MEDIUM, "no offset to clear"},
        {1, 2, 0, QV6D_GRADE_LOW, QV6D_INIT_POLICY, 15.0, QV6D_GRADE_UNRELIABLE, "the clear radius is checked first"},
        {1, 2, 0, QV6D_GRADE_LOW, QV6D_INIT_POLICY, 9.0, QV6D_GRADE_BEST, "within the clear radius"},
    };
    for (const auto &c : cases)
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
        EXPECT_EQ(c.grade == QV6D_GRADE_UNRELIABLE ? 0 : c.calibrated, state.status.calibrated) << c.why;
    }
    update_accuracy(&state, {0, 0, 57});
    EXPECT_EQ(1, state.status.calibrated) << "which is checked once";
}

TEST_F(Calibration, PolarAngleIsMeasuredWithItsOwnDegree)
{
    cfg.incmask = QV6D_POLICY_POLAR_ANGLE;
    cfg.rinclination = 90.0002; // pi / 2 is 90.0003 of its degrees
    init();
    state.status.calibrated = 1;
    EXPECT_EQ(QV6D_GRADE_BEST, update_accuracy(&state, {1, 0, 0}));
    EXPECT_EQ(QV6D_GRADE_MEDIUM, update_accuracy(&state, {0, 0, 0})) << "no field has the angle 0";
}

TEST_F(Calibration, AValueThatIsNotANumberNeverLeavesTheSmoother)
{
    tumble(30, {0, 0, 0}, 45.0);
    feed({std::nan(""), 0, 0});
    feed({std::numeric_limits<double>::infinity(), -1e308, 1e308});
    tumble(100, {0, 0, 0}, 45.0);
    EXPECT_TRUE(std::isnan(qvhcal_get_canceled(&state).x));
    EXPECT_EQ(QV6D_GRADE_UNRELIABLE, qvhcal_get_accuracy(&state));
    init();
    feed({1, 2, 3});
    EXPECT_BITS({1, 2, 3}, qvhcal_get_canceled(&state));
}

TEST_F(Calibration, NoiseOfEitherKindStartsOver)
{
    cfg.motion.senrate = 1.0;
    for (const int samples : {3, 25}) // the scatter of a few is too large, or the span of a full buffer
    {
        cfg.motion.stdevmax = samples == 3 ? 10.0 : 1000.0;
        init();
        const captured_log log;
        tumble(samples, {0, 0, 0}, 100.0);
        EXPECT_EQ(samples == 3, state.status.motion_movement == QVMOTION_MOVEMENT__NOISE1);
        EXPECT_EQ(1, log.count("HCAL CLEARD(RESET)"));
        EXPECT_EQ(1, state.rbufcnt);
        EXPECT_BITS(on_sphere(samples - 1, {0, 0, 0}, 100.0), state.rbuf[0]);
    }
}
