#include "algo/qvalgo.h"
#include "api/qvs_start.h"
#include "hcal/qvhcal.h"
#include "storage/qvstorage_keys.h"
#include "storage/qvstorage_object.h"
#include "support.h"

#include <set>

struct Service : testing::Test
{
    Service()
    {
        start();
    }

    ~Service() override
    {
        qvalgo_term();
    }

    void start()
    {
        EXPECT_EQ(0, qvs_start((dir / "cust").c_str(), (dir / "cfg").c_str(), (dir / "dat").c_str()));
    }

    // A device that is turned, and every byte that it is told.
    static std::string turn(int samples)
    {
        std::string told;
        for (int k = 0; k < samples; ++k)
        {
            told += bytes_of(serve(k, on_sphere(k, {200, -100, 50}, 300.0)));
            told += bytes_of(algo_out_hcal) + bytes_of(algo_out_fusion) + bytes_of(qvOrientation) +
                    bytes_of(qvGeoMagnetic) + bytes_of(mag);
        }
        return told;
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

TEST_F(Service, TheSameSamplesGiveTheSameBytes)
{
    write_file(dir / "cust", "hcal.motion.senrate=1\n");
    const auto session = [this]
    {
        std::filesystem::remove(dir / "cfg");
        start();
        return turn(200);
    };
    const std::string told = session();
    EXPECT_NEAR(30.0, algo_out_hcal.offset[0], 0.5) << "it learnt what is hidden in the samples";
    EXPECT_TRUE(told == session()) << "started again";
    qvalgo_term();
    EXPECT_TRUE(told == session()) << "ended and started again";
}

TEST_F(Service, GettersCopyWhatWasPublishedLast)
{
    serve(1, {100, 200, -300});
    algo_out_hcal.accuracy = 256 + QV6D_GRADE_MEDIUM; // readers take the low byte
    const qvs_sample another = sample(123456789, {-100, 173.20508, -400});
    api.caliApiSetMagData(&another);
    EXPECT_NEAR(30.0, algo_out_fusion.ornt[0], 1e-3);
    // The field is that of the calibration, not of this sample; for the other outputs no filter runs.
    const float field[3] = {100 * QV6D_MICROTESLA_PER_COUNT, 200 * QV6D_MICROTESLA_PER_COUNT,
                            -300 * QV6D_MICROTESLA_PER_COUNT};
    const float zero[3] = {};
    const float attitude[3] = {qvOrientation.x, qvOrientation.y, qvOrientation.z};
    EXPECT_EQ(static_cast<float>(algo_out_fusion.ornt[0]), attitude[0]);
    const struct
    {
        int32_t (*get)(qvs_output *);
        const float *values;
    } cases[] = {{api.getOrientation, attitude}, {api.getGeoMagnetic, field},       {api.getGravity, zero},
                 {api.getRotationVector, zero},  {api.getGameRotationVector, zero}, {api.getLinearaccel, zero},
                 {api.getVirtualGyro, zero}};
    for (const auto &c : cases)
    {
        qvs_output expected = dirty<qvs_output>(), output = expected;
        EXPECT_EQ(0, c.get(&output));
        expected.timestamp = 123456789;
        std::memcpy(reinterpret_cast<char *>(&expected) + offsetof(qvs_output, x), c.values, sizeof zero);
        expected.accuracy = QV6D_GRADE_MEDIUM;
        std::fill_n(expected.reserved2, 3, 0); // three bytes travel with the grade, the other reserved ones stay
        EXPECT_EQ(bytes_of(expected), bytes_of(output));
    }
}

TEST_F(Service, HeadingReplacesTheAzimuthWhileLevel)
{
    const std::pair<qvcrd_vec3, bool> cases[] = {
        {{0.2, -0.3, 9.5}, true}, {{1.6, 0, 9.8}, false}, {{0, 1.5, 9.8}, false}, {{0, 0, 8.3}, false}};
    for (const auto &[acceleration, level] : cases)
    {
        start(); // empties the acceleration filter
        serve(1, {100, 200, -300}, acceleration);
        const qvcrd_vec3 acc = {accel[0], accel[1], accel[2]}, field = {mag[0], mag[1], mag[2]};
        EXPECT_BITS(level ? qvcrd_get_yaw(&field) : qvcrd_get_orientation(&acc, &field).x, algo_out_fusion.ornt[0]);
    }
}

TEST_F(Service, SteadyDeviceKeepsItsPreviousQuaternion)
{
    const qvcrd_quat previous = {1, 2, 3, 4}, next = {5, 6, 7, 8};
    EXPECT_BITS(5.0, reweight_quat(1, previous, next, 0.75).w);
    EXPECT_BITS(0.25 * 5 + 0.75 * 1, reweight_quat(0, previous, next, 0.75).w);
    EXPECT_BITS(0.25 * 8 + 0.75 * 4, reweight_quat(-1, previous, next, 0.75).z);
    qvstorage_object.env.cfg.aweight = std::nan("");
    turn(40);
    EXPECT_TRUE(std::isnan(algo_out_fusion.quat[0])) << "the weight is env.aweight";
}

TEST_F(Service, StartClearsResultsAndKeepsOutputs)
{
    turn(6);
    api.caliApiSetGyroData(&magDataIn);
    EXPECT_EQ(3, accRawDataReady + gyroRawDataReady + magRawDataReady);
    std::memset(output_sensor_data, 1, sizeof output_sensor_data);
    start();
    EXPECT_EQ(std::string(sizeof algo_out_hcal, '\0'), bytes_of(algo_out_hcal));
    EXPECT_EQ(std::string(448, '\0'), bytes_of(output_sensor_data));
    EXPECT_EQ(0, accRawDataReady + gyroRawDataReady + magRawDataReady);
    EXPECT_BITS({0.0, 0.0, 0.0}, {mag[0], mag[2], accel[2]});
    EXPECT_EQ(5, qvOrientation.timestamp);
    EXPECT_EQ(1, qv_log_value);

    const captured_log log;
    qvalgo_config_path(nullptr, nullptr, nullptr);
    EXPECT_EQ(1, log.count("custcfg=(null) cfgbak=(null) datbak=(null)"));
    QVS_initLib();
    EXPECT_EQ(1, log.count("custcfg=/data/qvsd/qvalgo-cust.cfg cfgbak=/data/qvsd/qvalgo-cust.cfgbak "
                           "datbak=/data/qvsd/qvalgo-cust.datbak"));
}

TEST_F(Service, EachDebugSwitchOpensItsOwnLines)
{
    const std::pair<std::string, std::set<std::string>> cases[] = {
        {"env.accthr", {}},
        {"env.endbg",
         {"qvalgo_update_fusion", "qvenv_disp_cfg", "qvenv_notify_data", "qvenv_update_acclevel",
          "qvenv_update_gyrlevel"}},
        {"hcal.endbg",
         {"estimate_offset", "exponential_smothing", "qvhcal_disp_cfg", "qvhcal_update", "update_accuracy"}},
        {"hcal.motion.endbg", {"qvmotion_disp_cfg", "qvmotion_get_movement", "qvmotion_get_result"}},
        {"hcal.rlsm.endbg", {"qvrlsm_disp_cfg", "qvrlsm_update", "update_stabled_status"}},
        {"fusion.endbg", {"qvfusion_disp_bak", "qvfusion_disp_cfg", "qvfusion_update_inclination"}},
    };
    for (const auto &[key, operations] : cases)
    {
        qvalgo_term();
        write_file(dir / "cust", key + "=1\nhcal.motion.senrate=1\n");
        const captured_log log;
        start();
        const double rates[3] = {};
        qvalgo_notify_data(QV6D_SENSOR_GYROSCOPE, rates, 0.0);
        turn(60);
        std::set<std::string> seen;
        for (const std::string &line : log.lines)
            if (line.find("[INFO]") == std::string::npos && !line.starts_with("qvalgo_disp_version"))
                seen.insert(line.substr(0, line.find(':')));
        EXPECT_EQ(operations, seen) << key;
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
    qvstorage_object.bak.hcal = {
        {{1, 2, 3, 4}, {{5, 6, 7, 8}, {9, 10, 11, 12}, {13, 14, 15, 16}, {17, 18, 19, 20}}, {21, 22, 23}, 24, 0, 0},
        {1, {2, 3, 4}, 5, 6, 7, 8, 9, 10, {11, 12, 13}, {14, 15, 16}, {}}};
    const qvfusion_bak fusion = {1, {{2, 3, 4}, {5, 6, 7}, {8, 9, 10}}, {11, 12, 13}, {14, 15, 16, 17}, 18};
    qvmotion_state &motion = qvstorage_object.hcal.motion;
    motion = {motion.cfg, 1, 2, 3, {9, 8, 7}, {4, 5, 6}, 8, 9, 10, 11};

    const captured_log log;
    qvalgo_disp_cfg();
    qvalgo_disp_version();
    qvmotion_disp_status(&motion, 1);
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

TEST_F(Service, SmallestBufferSizeWithAGyroscopeReadsNoSample)
{
    // The extremes of a buffer of INT32_MIN samples were once searched from its index INT32_MIN - 1.
    qvalgo_config_gyrthr(0.5);
    qvalgo_config_calibration2(INT32_MIN, 0, 0);
    start();
    const double fast[3] = {1, 0, 0};
    qvalgo_notify_data(QV6D_SENSOR_GYROSCOPE, fast, 0.0);
    turn(5);
    EXPECT_EQ(1, qvstorage_object.hcal.motion.motion_movement_pending);
    EXPECT_EQ(QVMOTION_RESULT__UNKNOWN, qvstorage_object.hcal.status.motion_result);
    qvstorage_object.env.gyrlevel = 0;
}
