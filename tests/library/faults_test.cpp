// The record files under what power cuts, full disks, damage and other programs do to them.

#include "api/qvs_start.h"
#include "storage/qvstorage_object.h"
#include "support.h"

#include <csignal>
#include <limits>
#include <map>
#include <sys/resource.h>
#include <unistd.h>

// Acts with no more of a resource than this.
template <typename Action>
static int32_t limited(int resource, std::size_t value, Action act)
{
    rlimit before;
    getrlimit(resource, &before);
    const rlimit less = {value, before.rlim_max};
    EXPECT_EQ(0, setrlimit(resource, &less));
    const int32_t result = act();
    setrlimit(resource, &before);
    return result;
}

struct record_file
{
    std::string path, name; // as the initialisation reports it
    std::string intact;     // frame and payload
};

struct Faults : testing::Test
{
    void SetUp() override
    {
        std::signal(SIGXFSZ, SIG_IGN); // a write beyond the limit fails, as on a full disk
        std::filesystem::create_directory(dir / "c");
        std::filesystem::create_directory(dir / "d");
        write_file(custcfg, settings);
        learn({20, -10, 5});
        fresh = bytes_of(qvstorage_object.bak); // as the first start made it
    }

    void TearDown() override
    {
        EXPECT_EQ(0, user | seteuid(getuid()));
    }

    int32_t init()
    {
        return qvs_start(custcfg.c_str(), cfg.path.c_str(), dat.path.c_str());
    }

    // A process that comes up: nothing is left of the one before but the files.
    int32_t start()
    {
        qvstorage_object = {};
        log.lines.clear();
        return init();
    }

    // A first session, which leaves both files.
    void learn(qvcrd_vec3 offset)
    {
        std::filesystem::remove(cfg.path);
        ASSERT_EQ(0, start());
        learnt = answered_offset(200, offset);
        ASSERT_NEAR(offset.x, learnt, 0.5);
        qvalgo_term();
        cfg.intact = read_file(cfg.path);
        dat.intact = read_file(dat.path);
        ASSERT_EQ(562u, cfg.intact.size());
        ASSERT_EQ(490u, dat.intact.size());
    }

    // What a service is told after these samples that hard iron adds along x.
    static float answered_offset(int samples = 1, qvcrd_vec3 offset = {})
    {
        float answer = 0.0f;
        for (int k = 0; k < samples; ++k)
            answer = serve(k, on_sphere(k, qvcrd_scalar(offset, 1.0 / QV6D_MICROTESLA_PER_COUNT), 266.7)).offset[0];
        return answer;
    }

    std::map<std::string, std::string> directory() const
    {
        namespace fs = std::filesystem;
        std::map<std::string, std::string> all;
        for (const fs::directory_entry &entry : fs::recursive_directory_iterator(dir / ""))
            all[entry.path()] = entry.is_symlink()        ? "-> " + fs::read_symlink(entry).string()
                                : entry.is_regular_file() ? read_file(entry.path())
                                                          : "not a file";
        return all;
    }

    // The library runs, over files of an older session that are longer than what will replace them.
    void run_over_older_files()
    {
        write_file(cfg.path, cfg.intact);
        write_file(dat.path, dat.intact);
        ASSERT_EQ(0, start());
        write_file(cfg.path, cfg.intact + std::string(100, 'v'));
        write_file(dat.path, dat.intact + std::string(100, 'v'));
        log.lines.clear();
    }

    // The configuration is saved by an initialisation, the data by a termination.
    int32_t save(const record_file &file)
    {
        if (&file == &cfg)
            return init();
        qvalgo_term();
        return 0;
    }

    // Root is refused no file. As anybody else the tests meet what a sensor service meets.
    const int user = seteuid(getuid() == 0 ? 65534 : getuid());
    const temporary_directory dir;
    const std::string custcfg = dir / "cust";
    const std::string settings = "hcal.motion.senrate=1\nhcal.rlsm.stdev=3\nhcal.rlsm.routmafsize=5\n";
    record_file cfg = {dir / "c/cfg", "LOAD_CFG_BAK", ""}, dat = {dir / "d/dat", "LOAD_DAT_BAK", ""};
    record_file *const both[2] = {&cfg, &dat};
    float learnt = 0.0f;
    std::string fresh;
    captured_log log;
};

TEST_F(Faults, ASaveStoppedAtAnyByteStartsFreshAndSaysWhichFile)
{
    for (const record_file *file : both)
        for (std::size_t n = 0; n <= file->intact.size() && !HasFailure(); ++n)
        {
            SCOPED_TRACE(file->name + " cut at " + std::to_string(n));
            const auto save_up_to_n = [&] { return limited(RLIMIT_FSIZE, n, [&] { return save(*file); }); };
            const auto expect_cut = [&](std::map<std::string, std::string> before)
            {
                before[file->path] = file->intact.substr(0, n);
                EXPECT_TRUE(before == directory()) << "wrote n bytes of the file, and nothing else anywhere";
            };
            run_over_older_files();
            const auto before = directory();
            if (n % QV6D_KILL_EVERY == 0 && n < file->intact.size())
            {
                const auto killed = [&]
                {
                    std::signal(SIGXFSZ, SIG_DFL);
                    limited(RLIMIT_CORE, 0, save_up_to_n);
                };
                EXPECT_EXIT(killed(), testing::KilledBySignal(SIGXFSZ), "");
                expect_cut(before);
            }

            run_over_older_files();
            const int32_t result = save_up_to_n(); // as on a full disk
            expect_cut(before);
            const bool cut = n < file->intact.size();
            const std::string item = n >= 9 && n < file->intact.size() - 9 ? "data" : "ver name";
            const std::vector<std::string> line = {"qvfile_write: [ERR] Connot write " + item + " to " + file->path};
            EXPECT_EQ(cut ? line : std::vector<std::string>{}, log.with("[ERR]"));
            EXPECT_EQ(cut && file == &cfg ? -1 : 0, result);
            EXPECT_EQ(file == &cfg && !cut, (qvstorage_object.flags & QVSTORAGE_FLAG_INITIALISED) != 0);
            EXPECT_TRUE(file == &dat || learnt == answered_offset()) << "works with what it read before";

            const std::string data = cut ? "[X] " : "[O] ";
            EXPECT_EQ(0, start());
            EXPECT_EQ("LOAD_CUST_FILE [O] LOAD_CFG_BAK " +
                          (cut && file == &cfg ? "[X] " : "[O] COMPARE_CFG [O] LOAD_DAT_BAK " + data),
                      log.decisions());
            EXPECT_EQ(1, log.count(file->name + (cut ? " [X] " : " [O] ") + file->path));
            EXPECT_TRUE((cut ? fresh : dat.intact.substr(9, 472)) == bytes_of(qvstorage_object.bak));
            EXPECT_EQ(cut ? 0.0f : learnt, answered_offset());
        }
}

TEST_F(Faults, TheFilesDecideAsTheyLieWhateverWroteThem)
{
    const std::string cfg_20 = cfg.intact, dat_20 = dat.intact, cut = cfg_20.substr(0, 300);
    const float learnt_20 = learnt;
    write_file(custcfg, settings + "hcal.enhthr=7\n");
    learn({-15, 10, 5});
    const struct
    {
        const char *what;
        const std::string *cfg, *dat; // null: no file
        const char *as_configuration;
        float as_data; // offset that it holds, 0 when it cannot be read
    } generations[] = {
        {"no file", nullptr, nullptr, "[X] ", 0.0f},
        {"a cut one", &cut, &cut, "[X] ", 0.0f},
        {"one of an earlier configuration", &cfg_20, &dat_20, "[O] COMPARE_CFG [X] ", learnt_20},
        {"one of this configuration", &cfg.intact, &dat.intact, "[O] COMPARE_CFG [O] ", learnt},
    };
    const auto lay = [](const std::string &path, const std::string *bytes)
    {
        std::filesystem::remove(path);
        if (bytes != nullptr)
            write_file(path, *bytes);
    };
    const std::string start_of_all = "LOAD_CUST_FILE [O] LOAD_CFG_BAK ", same = generations[3].as_configuration;
    for (const auto &c : generations)
        for (const auto &d : generations)
        {
            SCOPED_TRACE(std::string(c.what) + ", with the data: " + d.what);
            lay(cfg.path, c.cfg);
            lay(dat.path, d.dat);
            const std::string loaded = d.as_data != 0.0f ? "LOAD_DAT_BAK [O] " : "LOAD_DAT_BAK [X] ";
            EXPECT_EQ(0, start());
            EXPECT_EQ(start_of_all + c.as_configuration + (c.as_configuration == same ? loaded : ""), log.decisions());
            EXPECT_EQ(c.as_configuration == same ? d.as_data : 0.0f, answered_offset());

            // Power goes before the calibration is saved. By now the configuration file vouches for data that were
            // learnt under another one: nothing in the two files tells.
            EXPECT_EQ(0, start());
            EXPECT_EQ(start_of_all + same + loaded, log.decisions());
            EXPECT_EQ(d.as_data, answered_offset());
            EXPECT_EQ(d.dat == nullptr ? "" : *d.dat, read_file(dat.path)) << "only a termination writes it";
        }
}

TEST_F(Faults, WhatCannotBeWrittenFailsQuietlyButForAFullDevice)
{
    namespace fs = std::filesystem;
    const struct
    {
        const char *what;
        bool reported; // it opens, and the first item cannot be written
        bool survives; // the older file does
        void (*place)(const fs::path &file);
        std::size_t descriptors = 99; // open files that the process may have
    } obstacles[] = {
        {"a full device", true, false, [](const fs::path &file) { fs::create_symlink("/dev/full", file); }},
        {"a directory in its place", false, false, [](const fs::path &file) { fs::create_directory(file); }},
        {"no directory", false, false, [](const fs::path &file) { fs::remove(file.parent_path()); }},
        {"a directory without write permission", false, false,
         [](const fs::path &file) { fs::permissions(file.parent_path(), fs::perms{0555}); }},
        {"a file without write permission", false, true,
         [](const fs::path &file) { fs::permissions(file, fs::perms{0444}); }},
        {"no file descriptor left", false, true, [](const fs::path &) {}, 0},
    };
    for (const auto &o : obstacles)
        for (const record_file *file : both)
        {
            SCOPED_TRACE(file->name + ": " + o.what);
            run_over_older_files();
            if (!o.survives)
                fs::remove(file->path);
            o.place(file->path);
            const auto before = directory();
            const int32_t result = limited(RLIMIT_NOFILE, o.descriptors, [&] { return save(*file); });
            EXPECT_TRUE(before == directory());
            std::vector<std::string> expected;
            if (o.descriptors == 0 && file == &cfg)
                expected.push_back("load_file_cust: [ERR] Cannot open " + custcfg + " file.");
            if (o.reported)
                expected.push_back("qvfile_write: [ERR] Connot write ver name to " + file->path);
            EXPECT_EQ(expected, log.with("[ERR]"));
            EXPECT_EQ(0u, qvstorage_object.flags & QVSTORAGE_FLAG_INITIALISED);
            if (file == &cfg)
            {
                EXPECT_EQ(-1, result);
                EXPECT_EQ(1, log.count("LOAD_CFG_BAK [X] " + cfg.path)) << "read only if it can be written";
                EXPECT_EQ(0.0f, answered_offset());
                qvalgo_disp_cfg();
                EXPECT_EQ("qvstorage_disp_cfg_on_init: [ERR] Algorithm was not initialized yet. Try again after "
                          "'qvalgo_init()'",
                          log.lines.back());
            }

            // In the same process, once the obstacle is gone.
            fs::create_directories(fs::path(file->path).parent_path());
            fs::permissions(fs::path(file->path).parent_path(), fs::perms{0755});
            if (o.survives)
                fs::permissions(file->path, fs::perms{0644});
            else
                fs::remove_all(file->path);
            log.lines.clear();
            EXPECT_EQ(0, init());
            EXPECT_EQ(1, log.count(file->name + (o.survives ? " [O] " : " [X] ") + file->path));
            EXPECT_NE(0u, qvstorage_object.flags & QVSTORAGE_FLAG_INITIALISED);
        }
}

TEST_F(Faults, LearningGoesOnWithoutAConfigurationFile)
{
    std::filesystem::remove_all(dir / "c");
    ASSERT_EQ(-1, start());
    EXPECT_NEAR(-15.0f, answered_offset(200, {-15, 10, 5}), 0.5f);
    qvalgo_term();
    EXPECT_NE(dat.intact, read_file(dat.path)) << "saved all the same, though nothing vouches for it";
}

// The payload with an extreme at each multiple of four bytes, where a field may begin, and payloads of one word.
static std::vector<std::string> extremes_of(const std::string &payload)
{
    using limits = std::numeric_limits<double>;
    std::vector<std::string> values, all;
    for (const double real : {limits::infinity(), -limits::infinity(), limits::max(), -limits::max(), limits::min(),
                              limits::denorm_min(), limits::quiet_NaN(), -0.0})
        values.push_back(bytes_of(real));
    for (const int32_t integer : {INT32_MIN, -1, 7, INT32_MAX})
        values.push_back(bytes_of(integer));
    for (std::size_t at = 0; at < payload.size(); at += 4)
        for (const std::string &value : values)
            all.push_back(std::string(payload).replace(at, value.size(), value).substr(0, payload.size()));
    for (const uint32_t word : {0u, 1u, 0x7FEFFFFFu, 0x7FF00000u, 0x7FFFFFFFu, 0x80000000u, 0xFFEFFFFFu, 0xFFFFFFFFu})
        for (all.emplace_back(); all.back().size() < payload.size();)
            all.back() += bytes_of(word);
    return all;
}

struct DamagedPayload : Faults
{
    // A session of turns and rests up to its end. Whatever was restored, a service sees only what it knows.
    void live_through(int samples)
    {
        const qvhcal_state &hcal = qvstorage_object.hcal;
        const double turning[3] = {1, -1, 0.5};
        const auto within = [](int32_t low, int32_t value, int32_t high) { return low <= value && value <= high; };
        for (int k = 0; k < samples; ++k)
        {
            const int point = k % 60 < 45 ? k : 0;
            qvalgo_notify_data(QV6D_SENSOR_GYROSCOPE, turning, 0.02 * k);
            const qvs_calibration result = serve(k, on_sphere(point, {133, -67, 33}, 267.0));
            EXPECT_LE(result.accuracy, QV6D_GRADE_BEST);
            EXPECT_TRUE(within(-1, algo_out_hcal.update_result, 0));
            EXPECT_TRUE(within(QVMOTION_MOVEMENT__STABLE, hcal.status.motion_movement, QVMOTION_MOVEMENT__NOISE1));
            EXPECT_TRUE(within(QVMOTION_RESULT__UNKNOWN, hcal.status.motion_result, QVMOTION_RESULT__NOISE2));
            EXPECT_TRUE(within(0, hcal.rbufcnt, QVHCAL_RBUF_MAX)) << hcal.rbufcnt;
        }
        qvalgo_disp_cfg();
        qvalgo_term();
    }
};

TEST_F(DamagedPayload, AnyRestoredDataAreHarmless)
{
    write_file(cfg.path, cfg.intact);
    for (const std::string &payload : extremes_of(dat.intact.substr(9, 472)))
    {
        write_file(dat.path, std::string(dat.intact).replace(9, 472, payload));
        ASSERT_EQ(0, start());
        ASSERT_EQ(payload, bytes_of(qvstorage_object.bak));
        live_through(120);
        const qvhcal_status &status = qvstorage_object.hcal.status;
        const qvfusion_bak &fusion = qvstorage_object.fusion.bak;
        EXPECT_BITS({-1, 0, 0}, {fusion.qs[0], fusion.qs[1], fusion.qs[3]});
        EXPECT_TRUE(status.dummycnt > 0 || status.readycnt <= 2) << "counts no further than it must";
    }
    write_file(dat.path, dat.intact);
    start();
    EXPECT_EQ(learnt, answered_offset()) << "nothing of it stays in the process";
}

TEST_F(DamagedPayload, AnyConfigurationInForceIsHarmless)
{
    std::filesystem::remove(custcfg);
    for (std::string configuration : extremes_of(cfg.intact.substr(9, 544)))
    {
        configuration.replace(100, 192, cfg.intact, 109, 192); // the paths, which the parser limits
        write_file(cfg.path, std::string(cfg.intact).replace(9, 544, configuration));
        write_file(dat.path, dat.intact);
        qvstorage_object = {};
        std::memcpy(&qvstorage_object.cfg, configuration.data(), sizeof qvstorage_object.cfg);
        qvstorage_object.flags = QVSTORAGE_FLAG_DEFAULTS;
        log.lines.clear();
        EXPECT_EQ(0, qvalgo_init());
        live_through(120);
    }
}
