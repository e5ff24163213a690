#include "storage/qvfile.h"
#include "storage/qvstorage.h"
#include "storage/qvstorage_keys.h"
#include "support.h"

#include <limits>

static qvstorage_cfg defaults()
{
    qvstorage storage = {};
    setup_default_cfg(&storage);
    return storage.cfg;
}

TEST(Records, DefaultsLieWhereTheFileHasThem)
{
    const qvstorage_cfg cfg = defaults();
    const std::string bytes = bytes_of(cfg);
    const auto real = [&](std::size_t at)
    {
        double value;
        std::memcpy(&value, bytes.data() + at, sizeof value);
        return value;
    };
    const struct
    {
        std::size_t offset;
        double value;
    } cases[] = {
        {4, 1.0},
        {36, 1.0},
        {44, 0.0},
        {76, 0.029999999329447746},
        {92, 0.9900000095367432},
        {308, 20.0},
        {316, 10.0},
        {324, 6.0},
        {384, 150.0},
        {392, 15.0},
        {340, 20.0},
        {376, 0.3},
        {412, 0.0010000000474974513},
        {428, 0.9879999756813049},
        {436, 10.0},
        {444, 0.30000001192092896},
        {460, 10.0},
        {480, 0.3499999940395355},
        {504, 9.999999747378752e-06},
        {520, 0.7852499652653933},
        {536, 0.4000000059604645},
    };
    for (const auto &c : cases)
        EXPECT_BITS(c.value, real(c.offset)) << c.offset;
    EXPECT_STREQ("/data/misc/qvsd/qvalgo.dat", bytes.data() + 228);
    EXPECT_EQ(std::string(64 - 26, '\0'), bytes.substr(228 + 26, 64 - 26));
    EXPECT_EQ('\x19', bytes[296]); // hcal.rbufsize
    EXPECT_EQ('\x0F', bytes[304]); // hcal.amafsize
    EXPECT_EQ('\x0A', bytes[452]); // hcal.rlsm.routmafsize
    EXPECT_EQ('\x02', bytes[456]); // hcal.incmask
}

TEST(Records, FreshBackupFollowsTheConfiguration)
{
    qvstorage_cfg cfg = defaults();
    cfg.hcal.rdummycnt = 5;
    qvstorage_bak bak = dirty<qvstorage_bak>();
    qvhcal_get_bak(&bak.hcal, &cfg.hcal);
    qvfusion_get_bak(&bak.fusion, &cfg.fusion);
    EXPECT_BITS(0.010000000474974513, bak.hcal.rlsm.p[0][0]);
    EXPECT_BITS(1000000.0, bak.hcal.rlsm.p[3][3]);
    EXPECT_BITS(100.0, bak.hcal.rlsm.x[3]);
    EXPECT_EQ(5, bak.hcal.status.dummycnt);
    EXPECT_EQ(16, bak.hcal.status.motion_result);
    EXPECT_BITS(-1.0, bak.fusion.ts);
    EXPECT_BITS(-1.0, bak.fusion.qs[0]);
    EXPECT_BITS(0.0010000000474974513, bak.fusion.ps[2][2]);
    EXPECT_BITS(0.0, bak.hcal.status.enholicoff[2] + bak.fusion.ps[0][1] + bak.fusion.xs[0]);
}

class RecordFile : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(0, qvfile_conf(&file, path.c_str(), 12, 3.6213));
        ASSERT_EQ(0, qvfile_write(&file, "payload 12 b"));
        intact = read_file(path);
    }

    // Reads into a destination that must then be untouched or complete.
    int32_t read()
    {
        char destination[13] = "............";
        const int32_t result = qvfile_read(&file, destination);
        EXPECT_STREQ(result == 0 ? "payload 12 b" : "............", destination);
        return result;
    }

    temporary_directory dir;
    std::string path = dir / "record";
    qvfile file = dirty<qvfile>();
    std::string intact;
};

TEST_F(RecordFile, IsFramedByMarksAndVersions)
{
    const std::string version = "\xD5\x09\x68\x22\x6C\xF8\x0C\x40";
    EXPECT_EQ("q" + version + "payload 12 b" + version + "v", intact);
    EXPECT_EQ(0, read());
    write_file(path, intact + "behind the tail mark");
    EXPECT_EQ(0, read());
}

TEST_F(RecordFile, AnotherSizeOrVersionIsRejected)
{
    for (const int32_t size : {11, 13, 0, -1, INT32_MIN, INT32_MAX})
    {
        file.size = size;
        EXPECT_EQ(-1, read()) << size;
    }
    file.size = 12;
    file.version = 3.6212;
    EXPECT_EQ(-1, read());
}

TEST_F(RecordFile, APayloadThatCannotBeReadIsReported)
{
    // The last read fails behind an intact frame: another program cut the file meanwhile, or there is nothing to read.
    write_file(path, intact.substr(0, 9) + intact.substr(21));
    file.size = 0;
    const captured_log log;
    EXPECT_EQ(-1, read());
    EXPECT_EQ(std::vector<std::string>{"qvfile_read: [ERR] length(0) of Data is not valid"}, log.lines);
}

TEST_F(RecordFile, SizesThatNoFileHasAreNotWritten)
{
    for (const int32_t size : {-1, INT32_MIN, INT32_MAX})
    {
        file.size = size;
        EXPECT_EQ(-1, qvfile_write(&file, "payload 12 b"));
        EXPECT_EQ(intact, read_file(path)) << size;
    }
}

TEST_F(RecordFile, LongNamesAreRefusedAndNameNothing)
{
    const std::string longest = (dir / std::string(254 - (dir / "").size(), 'n')), longer = longest + "n";
    EXPECT_EQ(0, qvfile_conf(&file, longest.c_str(), 12, 1.0));
    EXPECT_EQ(0, qvfile_write(&file, "payload 12 b"));
    EXPECT_EQ(-1, qvfile_conf(&file, longer.c_str(), 12, 1.0));
    EXPECT_STREQ("", file.name);
    EXPECT_EQ(-1, qvfile_write(&file, "payload 12 b"));
    EXPECT_EQ(-1, qvfile_read(&file, file.name));
}

class CustomerFile : public testing::Test
{
protected:
    int32_t load(const std::string &text)
    {
        cfg = defaults();
        write_file(path, text);
        return load_file_cust(&cfg, path.c_str());
    }

    temporary_directory dir;
    std::string path = dir / "cust";
    qvstorage_cfg cfg;
};

TEST_F(CustomerFile, LinesAreTakenOrReported)
{
    const std::string error = "load_file_cust: [ERR] ";
    const struct
    {
        std::string text;
        int32_t result, rbufsize;
        std::string complaint;
    } cases[] = {
        {"  hcal.rbufsize =\t30 \n", 0, 30, ""},
        {"hcal.rbufsize=30", 0, 30, ""},
        {"hcal.rbufsize=30\r\n", 0, 30, ""},
        {"# hcal.rbufsize=30\n% hcal.rbufsize=31\n\n\r\n", 0, 25, ""},
        {"   # text\nhcal.rbufsize=30", 0, 30, error + "String could not distinguished. Check (#text) in "},
        {" \t\nhcal.rbufsize=30", 0, 30, error + "String could not distinguished. Check () in "},
        {"hcal.rbufsize=30=31\nhcal.rbufsize=32", 0, 32,
         error + "String could not distinguished. Check (hcal.rbufsize=30=31)"},
        {"=\nhcal.rbufsize=30", 0, 30, error + "String could not distinguished. Check (=) in "},
        {"hcal.rbufsize=30\nhcal.readycnt=\nhcal.rbufsize=31", -1, 30,
         error + "Could not find out value about hcal.readycnt."},
        {"=5\nhcal.rbufsize=31", -1, 25, error + "Could not find out value about 5."},
        {"Hcal.rbufsize=30", 0, 25, "setup_cust_cfg: [ERR] Could not parse 'Hcal.rbufsize = 30'"},
        {"hcal.rbufsize=30" + std::string(109, ' ') + "\n", 0, 30, ""},
        {"hcal.rbufsize=30" + std::string(110, ' ') + "\n", -1, 25, error + "StringBuf OverFlow."},
        {"#" + std::string(126, '#') + "\nhcal.rbufsize=30", -1, 25, error + "StringBuf OverFlow."},
        {std::string("hcal.rbufsize=30\0=31\nfusion.hz=1\0", 33), 0, 30, ""},
    };
    for (const auto &c : cases)
    {
        const captured_log log;
        EXPECT_EQ(c.result, load(c.text)) << c.text;
        EXPECT_EQ(c.rbufsize, cfg.hcal.rbufsize) << c.text;
        EXPECT_EQ(c.complaint.empty() ? 0 : 1, log.count("[ERR]")) << c.text;
        EXPECT_EQ(1, c.complaint.empty() ? 1 : log.count(c.complaint)) << c.text;
    }
}

TEST_F(CustomerFile, NumbersConvertAsTheyAlwaysHave)
{
    const struct
    {
        const char *value;
        int32_t integer, at_most_40;
        double real;
    } cases[] = {
        {"25.9", 25, 25, 25.9},
        {"-1.5", -1, -1, -1.5},
        {"64", 64, 40, 64.0},
        {"abc", 0, 0, 0.0},
        {"1e3x", 1000, 40, 1e3},
        {"9e9", INT32_MAX, 40, 9e9},
        {"-9e9", INT32_MIN, INT32_MIN, -9e9},
        {"0x10", 16, 16, 16.0},
        {"inf", INT32_MAX, 40, std::numeric_limits<double>::infinity()},
    };
    const captured_log log;
    for (const auto &c : cases)
    {
        setup_cust_cfg(&cfg, "hcal.readycnt", c.value);
        setup_cust_cfg(&cfg, "hcal.rbufsize", c.value);
        setup_cust_cfg(&cfg, "hcal.clearradius", c.value);
        EXPECT_EQ(c.integer, cfg.hcal.readycnt) << c.value;
        EXPECT_EQ(c.at_most_40, cfg.hcal.rbufsize) << c.value;
        EXPECT_BITS(c.real, cfg.hcal.clearradius) << c.value;
    }
    setup_cust_cfg(&cfg, "hcal.incmask", "nan");
    EXPECT_EQ(0, cfg.hcal.incmask);
    EXPECT_EQ("setup_cust_cfg: [INFO] setup_cust_cfg : hcal.readycnt = 25.9", log.lines[0]);
}

TEST_F(CustomerFile, LongPathsAreRejectedNotCut)
{
    const std::string fits = "/" + std::string(62, 'p'), longer = fits + "p";
    EXPECT_EQ(0, load("env.datbak=" + fits + "\nenv.cfgbak=" + fits + "\n"));
    EXPECT_EQ(fits, cfg.env.datbak);
    const captured_log log;
    EXPECT_EQ(0, load("env.datbak = /data/x y.dat\nenv.datbak=" + longer + "\n"));
    EXPECT_STREQ("/data/xy.dat", cfg.env.datbak);
    EXPECT_EQ(1, log.count("setup_cust_cfg: [ERR] Path is longer than 63 characters"));
}

TEST_F(CustomerFile, WhatCannotBeReadIsAFailure)
{
    const captured_log log;
    EXPECT_EQ(-1, load_file_cust(&cfg, (dir / "missing").c_str()));
    EXPECT_EQ(1, log.count("load_file_cust: [ERR] Cannot open " + (dir / "missing") + " file."));
    EXPECT_EQ(-1, load_file_cust(&cfg, (dir / "").c_str())); // a directory opens and does not read
}

TEST(CustomerKeys, EachSetsItsOwnFieldAndIsComparedAsListed)
{
    const std::vector<std::string> not_compared = {"env.endbg",       "hcal.endbg",   "hcal.motion.endbg",
                                                   "hcal.rlsm.endbg", "fusion.endbg", "fusion.ips"};
    for (const customer_key &key : CUSTOMER_KEYS)
    {
        const qvstorage_cfg before = defaults();
        qvstorage_cfg after = before;
        setup_cust_cfg(&after, key.name, "7");
        const std::string a = bytes_of(before), b = bytes_of(after);
        const std::size_t size = key.kind == key_kind::path ? 64 : key.kind == key_kind::real ? 8 : 4;
        EXPECT_NE(a.substr(key.offset, size), b.substr(key.offset, size)) << key.name;
        EXPECT_EQ(a.substr(0, key.offset), b.substr(0, key.offset)) << key.name;
        EXPECT_EQ(a.substr(key.offset + size), b.substr(key.offset + size)) << key.name;
        const bool listed = std::find(not_compared.begin(), not_compared.end(), key.name) != not_compared.end();
        EXPECT_EQ(listed ? 0 : 1, check_cfg_was_changed(&before, &after)) << key.name;
    }
    qvstorage_cfg nan = defaults();
    nan.fusion.hz = std::nan("");
    qvstorage_cfg longer = defaults();
    std::memset(longer.env.datbak, 'p', 62);
    const qvstorage_cfg shorter = longer;
    longer.env.datbak[62] = 'p';
    EXPECT_EQ(1, check_cfg_was_changed(&shorter, &longer)) << "paths are compared to their ends";
    EXPECT_EQ(1, check_cfg_was_changed(&nan, &nan)) << "a value that is not a number differs from itself";
}

class Storage : public testing::Test
{
protected:
    int32_t start()
    {
        qvstorage_setup_env_path(&storage, custcfg.c_str(), cfgbak.c_str(), datbak.c_str());
        log.lines.clear();
        return qvstorage_init(&storage);
    }

    temporary_directory dir;
    std::string custcfg = dir / "cust", cfgbak = dir / "cfg", datbak = dir / "dat";
    qvstorage storage = {};
    captured_log log;
};

TEST_F(Storage, SecondStartResumesExactlyWhatWasSaved)
{
    EXPECT_EQ(0, start());
    EXPECT_EQ("LOAD_CUST_FILE [X] LOAD_CFG_BAK [X] ", log.decisions());
    EXPECT_FALSE(std::filesystem::exists(datbak));
    storage.hcal.status.rep_offset[1] = 12.5;
    storage.hcal.rlsm.bak.p[2][1] = -3.25;
    storage.fusion.bak.inclination = 0.5;
    qvstorage_term(&storage);
    EXPECT_EQ(0u, storage.flags);
    const std::string saved = read_file(datbak);
    ASSERT_EQ(490u, saved.size());
    EXPECT_EQ(562u, read_file(cfgbak).size());

    storage = {};
    EXPECT_EQ(0, start());
    EXPECT_EQ("LOAD_CUST_FILE [X] LOAD_CFG_BAK [O] COMPARE_CFG [O] LOAD_DAT_BAK [O] ", log.decisions());
    EXPECT_EQ(saved.substr(9, 472), bytes_of(storage.bak));
    EXPECT_BITS(12.5, qvhcal_get_offset(&storage.hcal).y);
}

TEST_F(Storage, AChangedConfigurationDiscardsTheCalibrationOnce)
{
    start();
    storage.hcal.status.rep_offset[1] = 12.5;
    qvstorage_term(&storage);
    write_file(custcfg, "hcal.enhthr=7\n");
    start();
    EXPECT_EQ("LOAD_CUST_FILE [O] LOAD_CFG_BAK [O] COMPARE_CFG [X] ", log.decisions());
    EXPECT_EQ(QVSTORAGE_FLAG_DEFAULTS | QVSTORAGE_FLAG_CHANGED | QVSTORAGE_FLAG_CUST | QVSTORAGE_FLAG_INITIALISED,
              storage.flags);
    EXPECT_BITS(0.0, qvhcal_get_offset(&storage.hcal).y);
    qvstorage_term(&storage);
    start();
    EXPECT_EQ("LOAD_CUST_FILE [O] LOAD_CFG_BAK [O] COMPARE_CFG [O] LOAD_DAT_BAK [O] ", log.decisions());
}

TEST_F(Storage, ZeroRateDiscardsTheCalibrationAtEveryStart)
{
    write_file(custcfg, "fusion.hz=0\n");
    for (int k = 0; k < 3; ++k)
    {
        start();
        EXPECT_BITS(100.0, storage.cfg.fusion.hz);
        EXPECT_EQ(k == 0 ? 0 : 1, log.count("COMPARE_CFG [X]"));
        qvstorage_term(&storage);
    }
}

TEST_F(Storage, TheCustomerFileRedirectsTheRecordFiles)
{
    write_file(custcfg, "env.cfgbak=" + (dir / "elsewhere") + "\nenv.custcfg=" + (dir / "other") + "\n");
    EXPECT_EQ(0, start());
    EXPECT_FALSE(std::filesystem::exists(cfgbak));
    EXPECT_EQ(562u, read_file(dir / "elsewhere").size());
    EXPECT_EQ(1, log.count("LOAD_CUST_FILE [O] " + custcfg));
}

TEST_F(Storage, SettersBuildDefaultsOnceAndChangeOnlyTheirFields)
{
    qvstorage_setup_hcal_status(&storage, nullptr, 0.0, 0);
    EXPECT_EQ(0u, storage.flags);
    qvstorage_setup_hcal_calibration2(&storage, 100, -7, 9);
    qvstorage_setup_hcal_calibration1(&storage, 1, 2, 3, 4, 5);
    qvstorage_setup_hcal_calibration3(&storage, 6, 7, 8);
    qvstorage_setup_hcal_clearradius(&storage, 9);
    qvstorage_setup_env_accthr(&storage, 10, 11);
    const double matrix[3][3] = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}};
    qvstorage_setup_env_simtx(&storage, matrix);
    qvstorage_setup_debug(&storage, 1);
    qvstorage_cfg expected = defaults();
    expected.hcal.rbufsize = 40;
    expected.hcal.rdummycnt = -7;
    expected.hcal.readycnt = 9;
    expected.hcal.motion = {1, 1, 2, 3, 5, 4};
    expected.hcal.rlsm.w = 6;
    expected.hcal.rlsm.stdev = 7;
    expected.hcal.enhthr = 8;
    expected.hcal.clearradius = 9;
    expected.env.accthr = 10;
    expected.env.aweight = 11;
    std::memcpy(expected.env.simtx, matrix, sizeof matrix);
    expected.env.endbg = expected.hcal.endbg = expected.hcal.rlsm.endbg = expected.fusion.endbg = 1;
    EXPECT_EQ(bytes_of(expected), bytes_of(storage.cfg));
    EXPECT_EQ(QVSTORAGE_FLAG_DEFAULTS | QVSTORAGE_FLAG_CHANGED, storage.flags);

    const std::string longer(64, 'p');
    EXPECT_EQ(-1, qvstorage_setup_env_path(&storage, "/c", longer.c_str(), "/d"));
    EXPECT_STREQ("/c", storage.cfg.env.custcfg);
    EXPECT_EQ(-1, qvstorage_setup_env_path(&storage, longer.c_str(), nullptr, nullptr));
    EXPECT_STREQ("/data/misc/qvsd/qvalgo.cfg", storage.cfg.env.cfgbak);
    EXPECT_EQ(2, log.count("qvstorage_setup_env_path: [ERR] Path is longer than 63 characters"));
}

TEST_F(Storage, TerminationWithoutInitialisationWritesNothing)
{
    qvstorage_setup_env_path(&storage, nullptr, nullptr, datbak.c_str());
    qvstorage_term(&storage);
    EXPECT_FALSE(std::filesystem::exists(datbak));
}

TEST_F(Storage, PathsSetWhileRunningWaitForTheNextInitialisation)
{
    start();
    qvstorage_setup_env_path(&storage, nullptr, (dir / "later").c_str(), (dir / "later").c_str());
    qvstorage_term(&storage);
    EXPECT_TRUE(std::filesystem::exists(datbak));
    EXPECT_FALSE(std::filesystem::exists(dir / "later"));
}
