#include "storage/qvfile.h"
#include "storage/qvstorage.h"
#include "storage/qvstorage_keys.h"
#include "support.h"

#include <fcntl.h>
#include <limits>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

static qvstorage_cfg defaults()
{
    qvstorage storage = {};
    setup_default_cfg(&storage);
    return storage.cfg;
}

TEST(Records, FreshBackupFollowsTheConfigurationAlone)
{
    const qvstorage_cfg cfg = defaults();
    qvstorage_bak bak = dirty<qvstorage_bak>(), other = {};
    for (qvstorage_bak *of : {&bak, &other})
    {
        qvhcal_get_bak(&of->hcal, &cfg.hcal);
        qvfusion_get_bak(&of->fusion, &cfg.fusion);
    }
    EXPECT_EQ(bytes_of(other), bytes_of(bak)) << "whatever was in the memory";
}

TEST(Records, ModulesRefuseNullArgumentsBeforeTheyTouchAnything)
{
    qvstorage s = dirty<qvstorage>();
    const std::string before = bytes_of(s);
    const captured_log log;
    EXPECT_EQ(-3, qvhcal_init(nullptr, &s.cfg.hcal, &s.bak.hcal) + qvhcal_init(&s.hcal, nullptr, &s.bak.hcal) +
                      qvhcal_init(&s.hcal, &s.cfg.hcal, nullptr));
    EXPECT_EQ(-3, qvfusion_init(nullptr, &s.cfg.fusion, &s.bak.fusion) +
                      qvfusion_init(&s.fusion, nullptr, &s.bak.fusion) +
                      qvfusion_init(&s.fusion, &s.cfg.fusion, nullptr));
    EXPECT_EQ(before, bytes_of(s));
    EXPECT_EQ(3, log.count("qvhcal_init: [ERR] qvhcal_init's parameter is NULL"));
    EXPECT_EQ(3, log.count("qvfusion_init: [ERR] parameter is NULL"));
}

struct RecordFile : testing::Test
{
    RecordFile()
    {
        EXPECT_EQ(0, qvfile_conf(&file, path.c_str(), 12, QVSTORAGE_VERSION));
        EXPECT_EQ(0, qvfile_write(&file, "payload 12 b"));
        intact = read_file(path);
    }

    // Into a destination that must then be untouched or complete.
    int32_t read()
    {
        char destination[13] = "............";
        const int32_t result = qvfile_read(&file, destination);
        EXPECT_STREQ(result == 0 ? "payload 12 b" : "............", destination);
        return result;
    }

    int32_t read(const std::string &content)
    {
        write_file(path, content);
        return read();
    }

    temporary_directory dir;
    std::string path = dir / "record";
    qvfile file = dirty<qvfile>();
    std::string intact;
    captured_log log;
};

TEST_F(RecordFile, IsFramedByMarksAndVersions)
{
    const std::string version = "\xD5\x09\x68\x22\x6C\xF8\x0C\x40";
    EXPECT_EQ("q" + version + "payload 12 b" + version + "v", intact);
    EXPECT_EQ(0, read());
}

TEST_F(RecordFile, EveryDamagedFrameIsRejectedUnseen)
{
    for (std::size_t n = 0; n < intact.size(); ++n)
    {
        const std::string head = intact.substr(0, n), rest = intact.substr(n);
        EXPECT_EQ(-1, read(head)) << n << " bytes";
        EXPECT_EQ(-1, read(head + std::string(rest.size(), '\0'))) << "blocks from " << n << " never written";
        EXPECT_EQ(n == 0 ? 0 : -1, read(std::string(n, '\0') + rest)) << "blocks up to " << n << " never written";
        EXPECT_EQ(n == 0 ? 0 : -1, read(rest)) << n << " bytes lost in front";
        EXPECT_EQ(n == 0 ? 0 : -1, read(std::string(n, 'q') + intact)) << n << " bytes too many in front";
        EXPECT_EQ(0, read(intact + rest)) << "appended bytes are ignored";
        for (int change = 1; change < 256 && (n < 9 || n >= 21); ++change)
        {
            std::string changed = intact;
            changed[n] = static_cast<char>(changed[n] ^ change);
            EXPECT_EQ(-1, read(changed)) << n << " ^ " << change;
        }
    }
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(RecordFile, AnotherSizeOrVersionIsRejected)
{
    for (const int32_t size : {11, 13, 0, -1, INT32_MIN, INT32_MAX})
    {
        file.size = size;
        EXPECT_EQ(-1, read()) << size;
        const bool possible = size >= 0 && size <= 13;
        EXPECT_TRUE(possible || qvfile_write(&file, "payload 12 b") == -1) << size;
    }
    file.size = 12;
    EXPECT_EQ(0, read());
    file.version = 3.6212;
    EXPECT_EQ(-1, read());
}

TEST_F(RecordFile, WhatIsNoFileIsRejectedUnseen)
{
    namespace fs = std::filesystem;
    fs::create_directory(dir / "directory");
    ASSERT_EQ(0, mkfifo((dir / "pipe").c_str(), 0600));
    for (const char *target : {"/dev/full", "/dev/null", "loop"})
        fs::create_symlink(target, dir / fs::path(target).filename());
    alarm(30); // a pipe that is read waits for ever
    for (const char *name : {"directory", "pipe", "full", "null", "loop", "missing", "missing/missing"})
    {
        qvfile_conf(&file, (dir / name).c_str(), 12, QVSTORAGE_VERSION);
        EXPECT_EQ(-1, read()) << name;
    }
    alarm(0);
    EXPECT_TRUE(log.lines.empty());
    EXPECT_FALSE(fs::exists(dir / "missing"));
}

TEST_F(RecordFile, APayloadThatCannotBeReadIsReported)
{
    // The last read fails after an intact frame: another program cut the file meanwhile, or there is nothing to read.
    file.size = 0;
    EXPECT_EQ(-1, read(intact.substr(0, 9) + intact.substr(21)));
    EXPECT_EQ(std::vector<std::string>{"qvfile_read: [ERR] length(0) of Data is not valid"}, log.lines);
}

TEST_F(RecordFile, LongNamesAreRefusedAndNameNothing)
{
    const std::string longest = (dir / std::string(254 - (dir / "").size(), 'n')), longer = longest + "n";
    EXPECT_EQ(0, qvfile_conf(&file, longest.c_str(), 12, 1.0));
    EXPECT_EQ(0, qvfile_write(&file, "payload 12 b"));
    EXPECT_EQ(-1, qvfile_conf(&file, longer.c_str(), 12, 1.0));
    EXPECT_STREQ("", file.name);
    EXPECT_EQ(-1, qvfile_write(&file, "payload 12 b"));
    EXPECT_EQ(-1, read());
}

struct CustomerFile : testing::Test
{
    int32_t load(const std::string &text)
    {
        cfg = defaults();
        write_file(path, text);
        return load_file_cust(&cfg, path.c_str());
    }

    temporary_directory dir;
    std::string path = dir / "cust";
    qvstorage_cfg cfg;
    captured_log log;
};

TEST_F(CustomerFile, LinesAreTakenOrReported)
{
    const std::string undistinguished = "String could not distinguished. Check (",
                      valueless = "Could not find out value about ";
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
        {"   # text\nhcal.rbufsize=30", 0, 30, undistinguished + "#text) in "},
        {" \t\nhcal.rbufsize=30", 0, 30, undistinguished + ") in "},
        {"hcal.rbufsize=30=31\nhcal.rbufsize=32", 0, 32, undistinguished + "hcal.rbufsize=30=31)"},
        {"=\nhcal.rbufsize=30", 0, 30, undistinguished + "=) in "},
        {"hcal.rbufsize=30\nhcal.readycnt=\nhcal.rbufsize=31", -1, 30, valueless + "hcal.readycnt."},
        {"=5\nhcal.rbufsize=31", -1, 25, valueless + "5."},
        {"Hcal.rbufsize=30", 0, 25, "Could not parse 'Hcal.rbufsize = 30'"},
        {"hcal.rbufsize=30" + std::string(109, ' ') + "\n", 0, 30, ""},
        {"hcal.rbufsize=30" + std::string(110, ' ') + "\n", -1, 25, "StringBuf OverFlow."},
        {"#" + std::string(126, '#') + "\nhcal.rbufsize=30", -1, 25, "StringBuf OverFlow."},
        {std::string("hcal.rbufsize=30\0=31\nfusion.hz=1\0", 33), 0, 30, ""},
        {std::string("#\0", 2) + std::string(125, ' ') + "hcal.rbufsize=30\n", -1, 25, "StringBuf OverFlow."},
        {std::string(65536, '\n') + "hcal.rbufsize=30\n", -1, 25, "StringBuf OverFlow."},
    };
    for (const auto &c : cases)
    {
        log.lines.clear();
        EXPECT_EQ(c.result, load(c.text)) << c.text;
        EXPECT_EQ(c.rbufsize, cfg.hcal.rbufsize) << c.text;
        EXPECT_EQ(c.complaint.empty() ? 0 : 1, log.count("[ERR] " + c.complaint)) << c.text;
        EXPECT_EQ(log.count("[ERR] "), log.count("[ERR] " + c.complaint)) << c.text;
    }
}

TEST_F(CustomerFile, NumbersConvertAsTheyAlwaysHave)
{
    const struct
    {
        const char *value;
        int32_t integer, at_most_40;
        double real;
    } cases[] = {{"25.9", 25, 25, 25.9},
                 {"-1.5", -1, -1, -1.5},
                 {"64", 64, 40, 64.0},
                 {"abc", 0, 0, 0.0},
                 {"1e3x", 1000, 40, 1e3},
                 {"9e9", INT32_MAX, 40, 9e9},
                 {"-9e9", INT32_MIN, INT32_MIN, -9e9},
                 {"0x10", 16, 16, 16.0},
                 {"nan", 0, 0, std::numeric_limits<double>::quiet_NaN()},
                 {"inf", INT32_MAX, 40, std::numeric_limits<double>::infinity()}};
    for (const auto &c : cases)
    {
        for (const char *key : {"hcal.readycnt", "hcal.rbufsize", "hcal.clearradius"})
            setup_cust_cfg(&cfg, key, c.value);
        EXPECT_EQ(c.integer, cfg.hcal.readycnt) << c.value;
        EXPECT_EQ(c.at_most_40, cfg.hcal.rbufsize) << c.value;
        EXPECT_BITS(c.real, cfg.hcal.clearradius) << c.value;
    }
}

TEST_F(CustomerFile, LongPathsAreRejectedNotCut)
{
    const std::string fits = "/" + std::string(62, 'p'), longer = fits + "p";
    EXPECT_EQ(0, load("env.datbak=" + fits + "\nenv.cfgbak=" + fits + "\n"));
    EXPECT_EQ(fits, cfg.env.datbak);
    EXPECT_EQ(0, load("env.datbak = /data/x y.dat\nenv.datbak=" + longer + "\n"));
    EXPECT_STREQ("/data/xy.dat", cfg.env.datbak);
    EXPECT_EQ(1, log.count("setup_cust_cfg: [ERR] Path is longer than 63 characters"));
}

TEST_F(CustomerFile, WhatCannotBeReadIsAFailure)
{
    EXPECT_EQ(-1, load_file_cust(&cfg, (dir / "missing").c_str()));
    EXPECT_EQ(1, log.count("load_file_cust: [ERR] Cannot open " + (dir / "missing") + " file."));
    mkfifo((dir / "pipe").c_str(), 0600); // waits for a writer when it is simply opened
    for (const std::string &path : {dir / "", dir / "pipe", std::string("/dev/zero")})
    {
        EXPECT_EQ(-1, load_file_cust(&cfg, path.c_str()));
        EXPECT_EQ(1, log.count("load_file_cust: [ERR] Cannot open " + path + " file.")) << path;
    }
    EXPECT_EQ(4u, log.lines.size());
}

TEST_F(CustomerFile, APartOfALineCountsForNothing)
{
    const std::string line = "env.datbak=/data/one/two\n"; // 25 bytes: the end of what was read at once lies within one
    std::string text;
    while (text.size() < 60000)
        text += line;
    write_file(path, text);
    const int unreadable = open(path.c_str(), O_WRONLY), next = dup(unreadable);
    close(next); // the library's file gets this number
    int cut = 0;
    qv6d::set_log_sink(
        [&](const qv6d::log_entry &line)
        {
            dup2(unreadable, next); // the next read fails
            cut += !line.said().ends_with(" = /data/one/two");
        });
    cfg = defaults();
    EXPECT_EQ(-1, load_file_cust(&cfg, path.c_str()));
    EXPECT_STREQ("/data/one/two", cfg.env.datbak);
    EXPECT_EQ(0, cut);
    close(unreadable);
}

TEST(CustomerKeys, EachSetsItsOwnFieldAndIsComparedAsListed)
{
    const std::set<std::string> not_compared = {"env.endbg",       "hcal.endbg",   "hcal.motion.endbg",
                                                "hcal.rlsm.endbg", "fusion.endbg", "fusion.ips"};
    const qvstorage_cfg before = defaults();
    for (const customer_key &key : CUSTOMER_KEYS)
    {
        const std::size_t size = key.kind == key_kind::path ? 64 : key.kind == key_kind::real ? 8 : 4;
        qvstorage_cfg after = before;
        setup_cust_cfg(&after, key.name, "7");
        const std::string a = bytes_of(before);
        std::string b = bytes_of(after);
        EXPECT_NE(a, b) << key.name;
        EXPECT_EQ(a, b.replace(key.offset, size, a, key.offset, size)) << key.name << " changes another field";

        qvstorage_cfg nearest = before;
        reinterpret_cast<char *>(&nearest)[key.offset] ^= 1;
        EXPECT_EQ(not_compared.count(key.name) == 0 ? 1 : 0, check_cfg_was_changed(&before, &nearest)) << key.name;
    }
    qvstorage_cfg path = before, longer = before, nan = before;
    path.env.datbak[63] = 'p';
    EXPECT_EQ(0, check_cfg_was_changed(&before, &path)) << "what lies past a path's end is not looked at";
    std::memset(longer.env.datbak, 'p', 63);
    path = longer;
    path.env.datbak[62] = '\0';
    EXPECT_EQ(1, check_cfg_was_changed(&path, &longer)) << "paths are compared to their ends";
    nan.fusion.hz = std::nan("");
    EXPECT_EQ(1, check_cfg_was_changed(&nan, &nan)) << "a value that is not a number differs from itself";
}

struct Storage : testing::Test
{
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

TEST_F(Storage, ZeroRatesDiscardTheCalibrationAtEveryStart)
{
    write_file(custcfg, "fusion.hz=0\nfusion.gamma=0\n");
    for (int k = 0; k < 3; ++k)
    {
        start();
        EXPECT_BITS({100.0, 0.3499999940395355, 0.0},
                    {storage.cfg.fusion.hz, storage.cfg.fusion.gamma, storage.fusion.cfg.hz});
        EXPECT_EQ(k == 0 ? 0 : 1, log.count("COMPARE_CFG [X]"));
        qvstorage_term(&storage);
    }
}

TEST_F(Storage, TheCustomerFileRedirectsTheRecordFiles)
{
    write_file(custcfg, "env.cfgbak=" + (dir / "elsewhere") + "\nenv.custcfg=" + (dir / "other") + "\n");
    write_file(dir / "other", "hcal.readycnt=7\n");
    EXPECT_EQ(0, start());
    EXPECT_FALSE(std::filesystem::exists(cfgbak));
    EXPECT_EQ(562u, read_file(dir / "elsewhere").size());
    EXPECT_EQ(1, log.count("LOAD_CUST_FILE [O] " + custcfg));
    EXPECT_EQ(QVSTORAGE_FLAG_DEFAULTS | QVSTORAGE_FLAG_CHANGED | QVSTORAGE_FLAG_CUST | QVSTORAGE_FLAG_INITIALISED,
              storage.flags);

    EXPECT_NE(7, storage.cfg.hcal.readycnt);
    EXPECT_EQ(0, qvstorage_init(&storage)) << "without an end, and without the path set anew";
    EXPECT_EQ(1, log.count("LOAD_CUST_FILE [O] " + (dir / "other")));
    EXPECT_EQ(7, storage.cfg.hcal.readycnt);
}

TEST_F(Storage, SettersBuildDefaultsOnceAndChangeOnlyTheirFields)
{
    qvstorage_setup_hcal_status(&storage, nullptr, 0.0, 0);
    EXPECT_EQ(0u, storage.flags);
    qvstorage_cfg expected = defaults();
    qvstorage_setup_hcal_calibration2(&storage, 100, expected.hcal.rdummycnt, expected.hcal.readycnt);
    qvstorage_setup_hcal_calibration3(&storage, expected.hcal.rlsm.w, expected.hcal.rlsm.stdev, 8);
    qvstorage_setup_debug(&storage, 1);
    expected.hcal.rbufsize = 40;
    expected.hcal.enhthr = 8;
    expected.env.endbg = expected.hcal.endbg = expected.hcal.motion.endbg = 1;
    expected.hcal.rlsm.endbg = expected.fusion.endbg = 1;
    EXPECT_EQ(bytes_of(expected), bytes_of(storage.cfg));
    EXPECT_EQ(QVSTORAGE_FLAG_DEFAULTS | QVSTORAGE_FLAG_CHANGED, storage.flags);

    const std::string longer(64, 'p');
    EXPECT_EQ(-1, qvstorage_setup_env_path(&storage, "/c", longer.c_str(), "/d"));
    EXPECT_EQ(-1, qvstorage_setup_env_path(&storage, longer.c_str(), nullptr, nullptr));
    EXPECT_STREQ("/c", storage.cfg.env.custcfg);
    EXPECT_STREQ(QV6D_DEFAULT_CFGBAK, storage.cfg.env.cfgbak);
    EXPECT_STREQ("/d", storage.cfg.env.datbak);
    EXPECT_EQ(2, log.count("qvstorage_setup_env_path: [ERR] Path is longer than 63 characters"));
}

TEST_F(Storage, PathsSetWhileRunningWaitForTheNextInitialisation)
{
    qvstorage_setup_env_path(&storage, nullptr, nullptr, datbak.c_str());
    qvstorage_term(&storage);
    EXPECT_FALSE(std::filesystem::exists(datbak)) << "nothing ran";
    start();
    qvstorage_setup_env_path(&storage, nullptr, (dir / "later").c_str(), (dir / "later").c_str());
    qvstorage_term(&storage);
    EXPECT_TRUE(std::filesystem::exists(datbak));
    EXPECT_FALSE(std::filesystem::exists(dir / "later"));
}
