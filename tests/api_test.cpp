#include "algo/qvalgo.h"
#include "api/qvs_start.h"
#include "hcal/qvhcal.h"
#include "storage/qvstorage_keys.h"
#include "storage/qvstorage_object.h"
#include "support.h"

#include <set>

class Service : public testing::Test
{
protected:
    void SetUp() override
    {
        start();
    }

    void TearDown() override
    {
        qvalgo_term();
    }

    void start()
    {
        ASSERT_EQ(0, qvs_start((dir / "cust").c_str(), (dir / "cfg").c_str(), (dir / "dat").c_str()));
    }

    static qvs_calibration calibrate(float x, float y, float z)
    {
        const qvs_sample sample = {77, x, y, z, 5};
        qvs_calibration result = dirty<qvs_calibration>();
        EXPECT_EQ(0, api.doCaliApi(&sample, &result));
        return result;
    }

    static void accelerate(float x, float y, float z)
    {
        const qvs_sample sample = {1, x, y, z, 0};
        api.caliApiSetAccData(&sample);
    }

    static void magnetize(int64_t t, float x, float y, float z)
    {
        const qvs_sample sample = {t, x, y, z, 0};
        api.caliApiSetMagData(&sample);
    }

    static constexpr const qvs_interface &api = MAG_LIB_API_INTERFACE;
    temporary_directory dir;
};

TEST_F(Service, TableHoldsTheEntryPointsInTheirOrder)
{
    const void *slots[16];
    std::memcpy(slots, &MAG_LIB_API_INTERFACE, sizeof slots);
    EXPECT_STREQ("MAG_LIB_API_INTERFACE", static_cast<const char *>(slots[0]));
    EXPECT_EQ(reinterpret_cast<const void *>(QVS_initLib), slots[1]);
    EXPECT_EQ(reinterpret_cast<const void *>(QVS_caliApiSetGyroData), slots[5]);
    EXPECT_EQ(reinterpret_cast<const void *>(QVS_doCaliApi), slots[8]);
    EXPECT_EQ(reinterpret_cast<const void *>(QVS_getGravity), slots[9]);
    EXPECT_EQ(reinterpret_cast<const void *>(QVS_getLinearaccel), slots[12]);
    EXPECT_EQ(reinterpret_cast<const void *>(QVS_getVirtualGyro), slots[15]);
}

TEST_F(Service, CountsBecomeMicroteslaInSinglePrecision)
{
    const qvs_calibration result = calibrate(1000, 1, -7);
    EXPECT_BITS(150.0, mag[0]);
    EXPECT_BITS(0.15000000596046448, mag[1]);
    EXPECT_BITS(static_cast<double>(-7 * 0.15f), mag[2]);
    EXPECT_EQ(77, result.timestamp);
    EXPECT_EQ(150.0f, result.calibrated[0]);
    EXPECT_EQ(0, result.accuracy);
    for (const uint8_t byte : result.reserved)
        EXPECT_EQ(0xAA, byte);
    EXPECT_EQ(-1, algo_out_hcal.update_result);
}

TEST_F(Service, MagnetometerWithoutAccelerometerIsOnlyStored)
{
    const std::string fusion = bytes_of(algo_out_fusion), orientation = bytes_of(qvOrientation);
    magnetize(9, 1, 2, 3);
    EXPECT_EQ(9, magDataIn.timestamp);
    EXPECT_EQ(1, magRawDataReady);
    EXPECT_BITS(0.0, mag[0]);
    EXPECT_EQ(fusion, bytes_of(algo_out_fusion));
    EXPECT_EQ(orientation, bytes_of(qvOrientation));
}

TEST_F(Service, PublishesOrientationAndTheLastCalibratedField)
{
    calibrate(100, 200, -300);
    algo_out_hcal.accuracy = 258; // readers take the low byte
    accelerate(0, 0, 9.81f);
    magnetize(123456789, -100, 173.20508f, -400);

    qvs_output orientation = dirty<qvs_output>(), field = dirty<qvs_output>();
    EXPECT_EQ(0, api.getOrientation(&orientation));
    EXPECT_EQ(0, api.getGeoMagnetic(&field));
    EXPECT_EQ(123456789, orientation.timestamp);
    EXPECT_NEAR(30.0f, orientation.x, 1e-3f);
    EXPECT_EQ(2, orientation.accuracy);
    EXPECT_EQ(100 * 0.15f, field.x); // of the calibration, not of this sample
    EXPECT_EQ(200 * 0.15f, field.y);
    EXPECT_EQ(-300 * 0.15f, field.z);
    EXPECT_BITS(0.123456789, qvstorage_object.fusion.bak.ts);
    EXPECT_BITS(-1.0, algo_out_fusion.quat[0]);
    for (int at = 0; at < 12; ++at)
        EXPECT_EQ(0xAA, orientation.reserved1[at]);
    for (int at = 0; at < 7; ++at)
        EXPECT_EQ(at < 3 ? 0 : 0xAA, orientation.reserved2[at]) << "three bytes travel with the grade";
}

TEST_F(Service, OutputsWithoutAFilterAreZero)
{
    accelerate(1, 2, 9);
    magnetize(5, 100, 200, 300);
    int32_t (*const getters[])(qvs_output *) = {api.getGravity, api.getRotationVector, api.getGameRotationVector,
                                                api.getLinearaccel, api.getVirtualGyro};
    for (const auto getter : getters)
    {
        qvs_output output = dirty<qvs_output>();
        getter(&output);
        EXPECT_EQ(5, output.timestamp);
        EXPECT_EQ(0.0f, output.x);
        EXPECT_EQ(0.0f, output.z);
    }
}

TEST_F(Service, HeadingReplacesTheAzimuthWhileLevel)
{
    const qvcrd_vec3 field = {15, 30, -45};
    const struct
    {
        float x, y, z;
        bool level;
    } cases[] = {{0.2f, -0.3f, 9.5f, true}, {1.6f, 0, 9.8f, false}, {0, 1.5f, 9.8f, false}, {0, 0, 8.3f, false}};
    for (const auto &c : cases)
    {
        start(); // empties the acceleration filter
        accelerate(c.x, c.y, c.z);
        magnetize(1, 100, 200, -300);
        const qvcrd_vec3 measured = {mag[0], mag[1], mag[2]}, acc = {c.x, c.y, c.z};
        EXPECT_NEAR(field.y, measured.y, 1e-5);
        EXPECT_BITS(c.level ? qvcrd_get_yaw(&measured) : qvcrd_get_orientation(&acc, &measured).x,
                    algo_out_fusion.ornt[0]);
    }
}

TEST_F(Service, TheAccelerationIsAveragedForEveryUse)
{
    for (const float y : {0.0f, 0.0f, 0.0f, 4.0f}) // the mean (0, 1, 9.81) is level and near gravity, the last is not
    {
        qvstorage_object.fusion.bak.inclination = -5.0;
        accelerate(0, y, 9.81f);
        magnetize(1, 100, 200, -300);
    }
    const qvcrd_vec3 mean = {0, 1, (double)9.81f}, field = {mag[0], mag[1], mag[2]};
    EXPECT_BITS(qvcrd_get_yaw(&field), algo_out_fusion.ornt[0]);
    EXPECT_NEAR(qvcrd_get_orientation(&mean, &field).y, algo_out_fusion.ornt[1], 1e-9);
    EXPECT_NE(-5.0, qvfusion_get_inclination(&qvstorage_object.fusion));
}

TEST_F(Service, SoftIronIsRemovedBeforeTheCalibration)
{
    const double matrix[3][3] = {{1, 0, 0}, {2, 1, 0}, {0, 0, 1}};
    qvalgo_config_softiron(matrix);
    start();
    EXPECT_FLOAT_EQ(350 * 0.15f, calibrate(150, 100, 1).calibrated[0]);
    EXPECT_BITS(mag[0] + 2.0 * mag[1], algo_out_hcal.compensated[0]);
}

TEST_F(Service, SteadyDeviceKeepsItsPreviousQuaternion)
{
    const qvcrd_quat previous = {1, 2, 3, 4}, next = {5, 6, 7, 8};
    EXPECT_BITS(5.0, reweight_quat(1, previous, next, 0.75).w);
    EXPECT_BITS(0.25 * 5 + 0.75 * 1, reweight_quat(0, previous, next, 0.75).w);
    EXPECT_BITS(0.25 * 8 + 0.75 * 4, reweight_quat(-1, previous, next, 0.75).z);
    qvstorage_object.env.cfg.aweight = std::nan("");
    for (int k = 0; k < 40; ++k)
    {
        accelerate(0, 0, 9.81f);
        magnetize(1, 100, 200, -300);
    }
    EXPECT_TRUE(std::isnan(algo_out_fusion.quat[0])) << "the weight is env.aweight";
}

TEST_F(Service, OffsetSetIsReturnedUntilTheNextStep)
{
    const float set[3] = {1.5f, -2.25f, 3e30f};
    float got[3];
    api.caliApiSetOffset(set);
    api.caliApiGetOffset(got);
    EXPECT_EQ(0, std::memcmp(set, got, sizeof set));
    calibrate(1, 2, 3);
    api.caliApiGetOffset(got);
    EXPECT_EQ(0.0f, got[1]);
}

TEST_F(Service, StartClearsResultsAndKeepsOutputs)
{
    calibrate(1, 2, 3);
    accelerate(0, 0, 9.81f);
    magnetize(5, 1, 2, 3);
    api.caliApiSetGyroData(&magDataIn);
    EXPECT_EQ(3, accRawDataReady + gyroRawDataReady + magRawDataReady);
    std::memset(output_sensor_data, 1, sizeof output_sensor_data);
    start();
    EXPECT_EQ(std::string(sizeof algo_out_hcal, '\0'), bytes_of(algo_out_hcal));
    EXPECT_EQ(std::string(448, '\0'), bytes_of(output_sensor_data));
    EXPECT_EQ(0, accRawDataReady + gyroRawDataReady + magRawDataReady);
    EXPECT_BITS(0.0, mag[0] + accel[2]);
    EXPECT_EQ(5, qvOrientation.timestamp);
    EXPECT_EQ(1, qv_log_value);
    const qvstorage_cfg &cfg = qvstorage_object.cfg;
    const double tuned[] = {cfg.hcal.accuracy[0], cfg.hcal.accuracy[1], cfg.hcal.accuracy[2],
                            cfg.hcal.clearradius, cfg.env.accthr,       cfg.env.aweight};
    const double expected[] = {600.0, 50.0, 6.0, 10.0, 0.06, 0.999999};
    EXPECT_EQ(0, std::memcmp(expected, tuned, sizeof tuned));
    EXPECT_EQ(6, cfg.hcal.incmask);

    const captured_log log;
    QVS_initLib();
    EXPECT_EQ(1, log.count("custcfg=/data/qvsd/qvalgo-cust.cfg cfgbak=/data/qvsd/qvalgo-cust.cfgbak "
                           "datbak=/data/qvsd/qvalgo-cust.datbak"));
}

TEST_F(Service, SettersLogWhatTheyWereGiven)
{
    const captured_log log;
    const double range[3] = {600, 50, 6}, identity[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    qvalgo_config_accuracy(range, 6);
    qvalgo_config_path(nullptr, "b", "c");
    qvalgo_config_softiron(identity);
    qvalgo_config_calibration1(1, 2, 3, 4, 5);
    qvalgo_config_calibration2(1, 2, 3);
    qvalgo_config_calibration3(1, 2, 3);
    EXPECT_EQ("qvalgo_config_accuracy: [INFO] qvalgo_config_accuracy : range[2]=6.000000 range[1]=50.000000 "
              "range[0]=600.000000 policy_mask=6",
              log.lines[0]);
    EXPECT_EQ("qvalgo_config_path: [INFO] qvalgo_config_path : custcfg=(null) cfgbak=b datbak=c", log.lines[1]);
    ASSERT_EQ(14u, log.lines.size());
    const std::string values[] = {
        "stdevmin=1.000000 stdevmax=2.000000 senrate=3.000000 sendiffmin=4.000000 sendiffmax=5.000000",
        "rbsize=1 rdummy=2 readycnt=3", "w=1.000000 rstdev=2.000000 enhthr=3.000000"};
    for (std::size_t k = 0; k < 3; ++k)
        EXPECT_EQ(1, log.count(" : " + values[k])) << log.lines[11 + k];
    EXPECT_BITS(2.0, qvstorage_object.cfg.hcal.rlsm.stdev);
    EXPECT_EQ(2, qvstorage_object.cfg.hcal.rdummycnt);
    EXPECT_EQ("qvalgo_config_softiron: [INFO] qvalgo_config_softiron : mtx[0][2]=0.000000", log.lines[4]);
}

TEST_F(Service, DebugSwitchShowsEveryStep)
{
    qvalgo_config_debug(1);
    start();
    const captured_log log;
    calibrate(10, 20, 30);
    accelerate(0, 0, 9.81f);
    magnetize(1, 10, 20, 30);
    const char *const operations[] = {
        "qvmotion_get_movement: gyrthr( 0.000000 )",
        "qvmotion_get_movement: stdev = 0.000 0.000 0.000",
        "qvhcal_update: QVMOTION_MOVEMENT__STABLE",
        "exponential_smothing: expo_smooth1 ",
        "update_accuracy: update_accuracy (",
        ("qvhcal_update: hcal_out 1.500000 3.000000 4.500000, 0.000000 0.000000 0.000000 0.000000, 1.500000 3.000000 "
         "4.500000 5.612486, 0, 0, 0 18"),
        "qvhcal_update: ----------",
        "qvenv_update_acclevel: n_item = 3 / n=0",
        "qvalgo_update_fusion: ALGO_ACC_MAG : ACC(",
        "qvfusion_update_inclination: N_INCLINATION = ",
        "qvalgo_update_fusion: ALGO_QUAT : -1.0",
        "qvalgo_update_fusion: ALGO_ROTV",
        "qvalgo_update_fusion: ALGO_GYRO",
        "qvalgo_update_fusion: ALGO_GRAV",
        "qvalgo_update_fusion: ALGO_LINA",
        "qvalgo_update_fusion: ALGO_ORNT",
    };
    ASSERT_EQ(std::size(operations), log.lines.size());
    for (std::size_t k = 0; k < std::size(operations); ++k)
        EXPECT_EQ(0u, log.lines[k].find(operations[k])) << log.lines[k];
    EXPECT_EQ(std::string("qvhcal_update: ") + std::string(75, '-'), log.lines[6]);
}

TEST_F(Service, EachDebugSwitchOpensItsOwnLines)
{
    const std::pair<const char *, const char *> cases[] = {
        {"env.accthr", ""},
        {"env.endbg",
         "qvalgo_update_fusion qvenv_disp_cfg qvenv_notify_data qvenv_update_acclevel qvenv_update_gyrlevel "},
        {"hcal.endbg", "estimate_offset exponential_smothing qvhcal_disp_cfg qvhcal_update update_accuracy "},
        {"hcal.motion.endbg", "qvmotion_disp_cfg qvmotion_get_movement qvmotion_get_result "},
        {"hcal.rlsm.endbg", "qvrlsm_disp_cfg qvrlsm_update update_stabled_status "},
        {"fusion.endbg", "qvfusion_disp_bak qvfusion_disp_cfg qvfusion_update_inclination "},
    };
    for (const auto &[key, operations] : cases)
    {
        qvalgo_term();
        write_file(dir / "cust", std::string(key) + "=1\nhcal.motion.senrate=1\n");
        const captured_log log;
        start();
        const double rates[3] = {};
        qvalgo_notify_data(3, rates, 0.0);
        for (int k = 0; k < 60; ++k)
        {
            const qvcrd_vec3 m = on_sphere(k, {0, 0, 0}, 300.0);
            calibrate(static_cast<float>(m.x), static_cast<float>(m.y), static_cast<float>(m.z));
        }
        accelerate(0, 0, 9.81f);
        magnetize(1, 100, 200, -300);
        std::set<std::string> seen;
        for (const std::string &line : log.lines)
            if (line.find("[INFO]") == std::string::npos && !line.starts_with("qvalgo_disp_version"))
                seen.insert(line.substr(0, line.find(':')) + " ");
        std::string all;
        for (const std::string &operation : seen)
            all += operation;
        EXPECT_EQ(operations, all) << key;
    }
}

TEST_F(Service, DisplayShowsEveryFieldInItsPlace)
{
    std::string text;
    for (std::size_t k = 0; k < CUSTOMER_KEY_COUNT; ++k)
        if (CUSTOMER_KEYS[k].kind != key_kind::path)
            text += std::string(CUSTOMER_KEYS[k].name) + "=" + std::to_string(k + 1) + "\n";
    write_file(dir / "cust", text);
    start();
    qvrlsm_bak &rlsm = qvstorage_object.bak.hcal.rlsm;
    for (std::size_t i = 0; i < 24; ++i)
    {
        const auto value = static_cast<double>(i + 1);
        std::memcpy(reinterpret_cast<char *>(&rlsm) + 8 * i, &value, 8);
    }
    qvstorage_object.bak.hcal.status = {1, {2, 3, 4}, 5, 6, 7, 8, 9, 10, {11, 12, 13}, {14, 15, 16}, {}};

    const captured_log log;
    qvalgo_disp_cfg();
    qvalgo_disp_version();
    qvmotion_state &motion = qvstorage_object.hcal.motion;
    motion = {motion.cfg, 1, 2, 3, {9, 8, 7}, {4, 5, 6}, 8, 9, 10, 11};
    qvmotion_disp_status(&motion, 1);
    qvfusion_bak fusion;
    for (std::size_t i = 0; i < 18; ++i)
    {
        const auto value = static_cast<double>(i + 1);
        std::memcpy(reinterpret_cast<char *>(&fusion) + 8 * i, &value, 8);
    }
    qvfusion_disp_bak(&fusion, 1);
    std::string shown;
    for (const std::string &line : log.lines)
        if (line.find(dir / "") == std::string::npos)
            shown += line + "\n";
    std::uint64_t digest = 0xcbf29ce484222325; // FNV-1a
    for (const char c : shown)
        digest = (digest ^ static_cast<unsigned char>(c)) * 0x100000001b3;
    EXPECT_EQ(15169340127494068905u, digest) << shown; // any change of the text below is a change of the log
    EXPECT_EQ(3, log.count("name : "));
}

TEST_F(Service, GyroscopeNotificationsClassifyMovement)
{
    qvalgo_config_gyrthr(0.5);
    start();
    const double fast[3] = {1, 0, 0}, slow[3] = {0.1, 0.1, 0.1};
    qvalgo_notify_data(3, fast, 0.0);
    qvalgo_notify_data(1, slow, 0.0); // of another sensor
    for (int k = 0; k < 3; ++k)
        calibrate(1, 2, 3);
    EXPECT_EQ(1, qvstorage_object.hcal.status.motion_movement);
    qvalgo_notify_data(3, slow, 0.0);
    for (int k = 0; k < 6; ++k)
        calibrate(1, 2, 3);
    EXPECT_EQ(0, qvstorage_object.hcal.status.motion_movement);
}

TEST_F(Service, SmallestBufferSizeWithAGyroscopeReadsNoSample)
{
    // The extremes of a buffer of INT32_MIN samples were once searched from its index INT32_MIN - 1.
    qvalgo_config_gyrthr(0.5);
    qvalgo_config_calibration2(INT32_MIN, 0, 0);
    start();
    const double fast[3] = {1, 0, 0};
    qvalgo_notify_data(3, fast, 0.0);
    for (int k = 0; k < 5; ++k)
        calibrate(1, 2, 3);
    EXPECT_EQ(1, qvstorage_object.hcal.motion.motion_movement_pending);
    EXPECT_EQ(16, qvstorage_object.hcal.status.motion_result);
    qvstorage_object.env.gyrlevel = 0;
}
