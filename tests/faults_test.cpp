// The record files under what power cuts, full disks, damage and other programs do to them.

#include "api/qvs_start.h"
#include "storage/qvstorage_keys.h"
#include "storage/qvstorage_object.h"
#include "support.h"

#include <csignal>
#include <limits>
#include <map>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

// Root is refused no file. As anybody else the tests meet what a sensor service meets.
class ordinary_user
{
public:
    ordinary_user()
    {
        become(NOBODY);
    }

    ~ordinary_user()
    {
        become(0);
    }

private:
    void become(uid_t user) const
    {
        EXPECT_TRUE(!root_ || seteuid(user) == 0);
    }

    static constexpr uid_t NOBODY = 65534;
    const bool root_ = geteuid() == 0;
};

class scoped_limit
{
public:
    scoped_limit(int resource, std::size_t value) : resource_(resource)
    {
        getrlimit(resource, &before_);
        const rlimit limited = {value, before_.rlim_max};
        EXPECT_EQ(0, setrlimit(resource, &limited));
    }

    ~scoped_limit()
    {
        setrlimit(resource_, &before_);
    }

private:
    int resource_;
    rlimit before_;
};

// Acts in a child process; the signal that ended it, 0 when it came to its end.
template <typename Action>
static int ended_by(Action act)
{
    const pid_t child = fork();
    if (child == 0)
    {
        const scoped_limit no_core(RLIMIT_CORE, 0);
        std::signal(SIGXFSZ, SIG_DFL);
        act();
        _exit(0);
    }
    int status = 0;
    EXPECT_EQ(child, waitpid(child, &status, 0));
    return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
}

struct record_file
{
    std::string path, name; // as the initialisation reports it
    std::string intact;     // frame and payload
    int32_t (*load)(void *, const char *);

    std::size_t payload() const
    {
        return intact.size() - 18;
    }
};

class Faults : public testing::Test
{
protected:
    void SetUp() override
    {
        std::signal(SIGXFSZ, SIG_IGN); // a write beyond the limit fails, as on a full disk
        std::filesystem::create_directory(dir / "c");
        std::filesystem::create_directory(dir / "d");
        write_file(custcfg, settings);
        learn({20, -10, 5});
        fresh = bytes_of(qvstorage_object.bak); // as the first start made it
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
        turn(200, offset);
        learnt = static_cast<float>(qvstorage_object.hcal.status.rep_offset[0]);
        ASSERT_NEAR(offset.x, learnt, 0.5);
        qvalgo_term();
        cfg.intact = read_file(cfg.path);
        dat.intact = read_file(dat.path);
        ASSERT_EQ(562u, cfg.intact.size());
        ASSERT_EQ(490u, dat.intact.size());
    }

    static qvs_calibration calibrate(qvcrd_vec3 m)
    {
        const auto counts = [](double microtesla) { return static_cast<float>(microtesla / 0.15); };
        const qvs_sample sample = {1, counts(m.x), counts(m.y), counts(m.z), 0}, up = {1, 0.1f, -0.2f, 9.8f, 0};
        qvs_calibration result;
        QVS_doCaliApi(&sample, &result);
        QVS_caliApiSetAccData(&up);
        QVS_caliApiSetMagData(&sample);
        return result;
    }

    // Returns what a service is told at the end that hard iron adds along x.
    static float turn(int samples, qvcrd_vec3 offset)
    {
        float answer = 0.0f;
        for (int k = 0; k < samples; ++k)
            answer = calibrate(on_sphere(k, offset, 40.0)).offset[0];
        return answer;
    }

    static float answered_offset()
    {
        return turn(1, {0, 0, 0});
    }

    std::vector<std::string> errors() const
    {
        std::vector<std::string> all;
        for (const std::string &line : log.lines)
            if (line.find("[ERR]") != std::string::npos)
                all.push_back(line);
        return all;
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

    // A save that wrote n bytes of the file, and nothing else anywhere.
    void expect_cut(const record_file &file, std::map<std::string, std::string> before, std::size_t n)
    {
        before[file.path] = file.intact.substr(0, n);
        EXPECT_TRUE(before == directory()) << file.name << " cut at " << n;
    }

    void expect_next_start(const record_file &file, std::size_t n)
    {
        const bool cut = n < file.intact.size();
        EXPECT_EQ(0, start());
        EXPECT_EQ(cut && &file == &cfg ? "LOAD_CUST_FILE [O] LOAD_CFG_BAK [X] "
                                       : "LOAD_CUST_FILE [O] LOAD_CFG_BAK [O] COMPARE_CFG [O] LOAD_DAT_BAK [" +
                                             std::string(cut ? "X] " : "O] "),
                  log.decisions())
            << file.name << " cut at " << n;
        EXPECT_EQ(1, log.count(file.name + (cut ? " [X] " : " [O] ") + file.path));
        EXPECT_TRUE((cut ? fresh : dat.intact.substr(9, 472)) == bytes_of(qvstorage_object.bak)) << n;
        EXPECT_EQ(cut ? 0.0f : learnt, answered_offset()) << file.name << " cut at " << n;
    }

    const ordinary_user user;
    const temporary_directory dir;
    const std::string custcfg = dir / "cust";
    const std::string settings = "hcal.motion.senrate=1\nhcal.rlsm.stdev=3\nhcal.rlsm.routmafsize=5\n";
    record_file cfg = {dir / "c/cfg", "LOAD_CFG_BAK", "", [](void *to, const char *path) {
                           return load_file_cfg(static_cast<qvstorage_cfg *>(to), path);
                       }};
    record_file dat = {dir / "d/dat", "LOAD_DAT_BAK", "", [](void *to, const char *path) {
                           return load_file_bak(static_cast<qvstorage_bak *>(to), path);
                       }};
    record_file *const both[2] = {&cfg, &dat};
    float learnt = 0.0f;
    std::string fresh;
    captured_log log;
};

static const char *item_at(const record_file &file, std::size_t n)
{
    const std::size_t second_version = 9 + file.payload();
    return n >= 9 && n < second_version ? "data" : "ver name";
}

TEST_F(Faults, ADiskFullAtAnyByteIsReportedAtTheItemThatItStops)
{
    for (const record_file *file : both)
        for (std::size_t n = 0; n <= file->intact.size() && !HasFailure(); ++n)
        {
            const bool reported = n < file->intact.size() - 1; // a missing tail mark is left for the reader to find
            run_over_older_files();
            const auto before = directory();
            int32_t result;
            {
                const scoped_limit full(RLIMIT_FSIZE, n);
                result = save(*file);
            }
            expect_cut(*file, before, n);
            EXPECT_EQ(reported ? std::vector<std::string>{std::string("qvfile_write: [ERR] Connot write ") +
                                                          item_at(*file, n) + " to " + file->path}
                               : std::vector<std::string>{},
                      errors());
            if (file == &cfg)
            {
                EXPECT_EQ(reported ? -1 : 0, result) << n;
                EXPECT_EQ(QVSTORAGE_FLAG_DEFAULTS | QVSTORAGE_FLAG_CHANGED | QVSTORAGE_FLAG_CUST |
                              (reported ? 0u : QVSTORAGE_FLAG_INITIALISED),
                          qvstorage_object.flags);
                EXPECT_EQ(learnt, answered_offset()) << "works with what it read before";
            }
            else
                EXPECT_EQ(0u, qvstorage_object.flags);
            expect_next_start(*file, n);
        }
}

TEST_F(Faults, ASaveKilledAtAnyByteStartsFreshAndSaysWhichFile)
{
    for (const record_file *file : both)
        for (std::size_t n = 0; n <= file->intact.size() && !HasFailure(); n += QV6D_KILL_EVERY)
        {
            run_over_older_files();
            const auto before = directory();
            const auto saves = [&]
            {
                const scoped_limit deadly(RLIMIT_FSIZE, n);
                save(*file);
            };
            EXPECT_EQ(n < file->intact.size() ? SIGXFSZ : 0, ended_by(saves));
            expect_cut(*file, before, n);
            expect_next_start(*file, n);
        }
}

TEST_F(Faults, TheFilesDecideAsTheyLieWhateverWroteThem)
{
    const std::string cfg_20 = cfg.intact, dat_20 = dat.intact, cut = cfg_20.substr(0, 300), nothing;
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
        {"an empty one", &nothing, &nothing, "[X] ", 0.0f},
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
    const std::string start_of_all = "LOAD_CUST_FILE [O] LOAD_CFG_BAK ", same = generations[4].as_configuration;
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

struct obstacle
{
    const char *what;
    void (*place)(const std::string &path);
    std::size_t descriptors; // open files that the process may have
    bool survives;           // the older file does
    bool reported;           // it opens, and the first item cannot be written
};

static std::string folder(const std::string &path)
{
    return path.substr(0, path.rfind('/'));
}

static void put_away(const std::string &path)
{
    namespace fs = std::filesystem;
    fs::create_directories(folder(path));
    fs::permissions(folder(path), fs::perms{0755});
    if (fs::is_regular_file(fs::symlink_status(path)))
        fs::permissions(path, fs::perms{0644});
    else
        fs::remove_all(path);
}

TEST_F(Faults, WhatCannotBeWrittenFailsQuietlyButForAFullDevice)
{
    namespace fs = std::filesystem;
    const obstacle obstacles[] = {
        {"a full device", [](const std::string &path) { fs::create_symlink("/dev/full", path); }, 99, false, true},
        {"a directory in its place", [](const std::string &path) { fs::create_directory(path); }, 99, false, false},
        {"no directory", [](const std::string &path) { fs::remove(folder(path)); }, 99, false, false},
        {"a directory without write permission",
         [](const std::string &path) { fs::permissions(folder(path), fs::perms{0555}); }, 99, false, false},
        {"a file without write permission", [](const std::string &path) { fs::permissions(path, fs::perms{0444}); }, 99,
         true, false},
        {"no file descriptor left", [](const std::string &) {}, 0, true, false},
    };
    for (const obstacle &o : obstacles)
        for (const record_file *file : both)
        {
            SCOPED_TRACE(file->name + ": " + o.what);
            run_over_older_files();
            if (!o.survives)
                fs::remove(file->path);
            o.place(file->path);
            const auto before = directory();
            int32_t result;
            {
                const scoped_limit open_files(RLIMIT_NOFILE, o.descriptors);
                result = save(*file);
            }
            EXPECT_TRUE(before == directory());
            std::vector<std::string> expected;
            if (o.descriptors == 0 && file == &cfg)
                expected.push_back("load_file_cust: [ERR] Cannot open " + custcfg + " file.");
            if (o.reported)
                expected.push_back("qvfile_write: [ERR] Connot write ver name to " + file->path);
            EXPECT_EQ(expected, errors());
            EXPECT_EQ(0u, qvstorage_object.flags & QVSTORAGE_FLAG_INITIALISED);
            if (file == &cfg)
            {
                EXPECT_EQ(-1, result);
                EXPECT_EQ(1, log.count("LOAD_CFG_BAK [X] " + cfg.path)) << "read only if it can be written";
                EXPECT_EQ(0.0f, answered_offset());
                log.lines.clear();
                qvalgo_disp_cfg();
                EXPECT_EQ(std::vector<std::string>{"qvstorage_disp_cfg_on_init: [ERR] Algorithm was not initialized "
                                                   "yet. Try again after 'qvalgo_init()'"},
                          log.lines);
            }

            // In the same process, once the obstacle is gone.
            put_away(file->path);
            log.lines.clear();
            EXPECT_EQ(0, init());
            EXPECT_EQ(1, log.count(file->name + (o.survives ? " [O] " : " [X] ") + file->path));
            EXPECT_NE(0u, qvstorage_object.flags & QVSTORAGE_FLAG_INITIALISED);
        }
}

TEST_F(Faults, LearningGoesOnWithoutAConfigurationFile)
{
    std::filesystem::remove_all(folder(cfg.path));
    ASSERT_EQ(-1, start());
    EXPECT_NEAR(-15.0f, turn(200, {-15, 10, 5}), 0.5f);
    qvalgo_term();
    EXPECT_NE(dat.intact, read_file(dat.path)) << "saved all the same, though nothing vouches for it";
}

TEST_F(Faults, EveryDamagedFrameIsRejectedUnseen)
{
    for (const record_file *file : both)
    {
        const std::string &intact = file->intact, untouched(file->payload(), '\xAA');
        const auto load = [&](const std::string &bytes)
        {
            write_file(file->path, bytes);
            std::string destination = untouched;
            const int32_t result = file->load(destination.data(), file->path.c_str());
            EXPECT_TRUE(destination == (result == 0 ? intact.substr(9, file->payload()) : untouched));
            return result;
        };
        log.lines.clear();
        for (std::size_t n = 0; n < intact.size(); ++n)
        {
            const std::string head = intact.substr(0, n), rest = intact.substr(n);
            EXPECT_EQ(-1, load(head)) << n << " bytes";
            EXPECT_EQ(-1, load(head + std::string(rest.size(), '\0'))) << "blocks from " << n << " never written";
            EXPECT_EQ(n == 0 ? 0 : -1, load(std::string(n, '\0') + rest)) << "blocks up to " << n << " never written";
            EXPECT_EQ(n == 0 ? 0 : -1, load(rest)) << n << " bytes lost in front";
            EXPECT_EQ(n == 0 ? 0 : -1, load(std::string(n, 'q') + intact)) << n << " bytes too many in front";
            EXPECT_EQ(0, load(intact + rest)) << "appended bytes are ignored";
        }
        for (std::size_t at = 0; at < intact.size(); at = at == 8 ? 9 + file->payload() : at + 1)
            for (int change = 1; change < 256; ++change)
            {
                std::string changed = intact;
                changed[at] = static_cast<char>(changed[at] ^ change);
                EXPECT_EQ(-1, load(changed)) << at << " ^ " << change;
            }
        EXPECT_EQ(-1, load((file == &cfg ? dat : cfg).intact)) << "the other record";
        EXPECT_TRUE(log.lines.empty());
    }
}

TEST_F(Faults, WhatIsNoFileIsRejectedUnseen)
{
    namespace fs = std::filesystem;
    fs::create_directory(dir / "directory");
    ASSERT_EQ(0, mkfifo((dir / "pipe").c_str(), 0600));
    for (const char *target : {"/dev/full", "/dev/null", "loop", "nowhere"})
        fs::create_symlink(target, dir / fs::path(target).filename());
    const auto before = directory();
    log.lines.clear();
    alarm(30); // a pipe that is read waits for ever
    for (const record_file *file : both)
        for (const char *name : {"directory", "pipe", "full", "null", "loop", "nowhere", "missing", "missing/missing"})
        {
            std::string destination(file->payload(), '\xAA');
            EXPECT_EQ(-1, file->load(destination.data(), (dir / name).c_str())) << name;
            EXPECT_EQ(std::string(file->payload(), '\xAA'), destination) << name;
        }
    alarm(0);
    EXPECT_TRUE(log.lines.empty());
    EXPECT_TRUE(before == directory());
}

// Fields of one width, as bytes of the payload.
struct field_range
{
    std::size_t begin, end, width;
};

static constexpr field_range CFG_FIELDS[] = {{0, 4, 4},     {4, 100, 8},   {292, 308, 4}, {308, 332, 8}, {332, 340, 4},
                                             {340, 356, 8}, {356, 360, 4}, {360, 400, 8}, {400, 404, 4}, {404, 452, 8},
                                             {452, 460, 4}, {460, 468, 8}, {468, 472, 4}, {472, 544, 8}};
static constexpr field_range DAT_FIELDS[] = {{0, 192, 8}, {192, 204, 4}, {204, 236, 8}, {236, 256, 4}, {256, 472, 8}};

using limits = std::numeric_limits<double>;
static constexpr double REALS[] = {limits::infinity(), -limits::infinity(),  limits::max(),       -limits::max(),
                                   limits::min(),      limits::denorm_min(), limits::quiet_NaN(), -0.0};
static constexpr int32_t INTEGERS[] = {INT32_MIN, -1, INT32_MAX};

template <std::size_t N, typename Visit>
static void for_each_field(const field_range (&ranges)[N], Visit visit)
{
    for (const field_range &range : ranges)
        for (std::size_t at = range.begin; at < range.end; at += range.width)
            visit(at, range.width);
}

static void put(std::string *payload, std::size_t at, std::size_t width, double real, int32_t integer)
{
    if (width == 8)
        std::memcpy(payload->data() + at, &real, width);
    else
        std::memcpy(payload->data() + at, &integer, width);
}

template <std::size_t N>
static void fill(std::string *payload, const field_range (&ranges)[N], double real, int32_t integer)
{
    for_each_field(ranges, [&](std::size_t at, std::size_t width) { put(payload, at, width, real, integer); });
}

class DamagedPayload : public Faults
{
protected:
    static std::string framed(const record_file &file, const std::string &payload)
    {
        return file.intact.substr(0, 9) + payload + file.intact.substr(file.intact.size() - 9);
    }

    void start_with_data(const std::string &payload)
    {
        write_file(cfg.path, cfg.intact);
        write_file(dat.path, framed(dat, payload));
        ASSERT_EQ(0, start());
        ASSERT_EQ(1, log.count("LOAD_DAT_BAK [O]"));
        ASSERT_EQ(payload, bytes_of(qvstorage_object.bak));
    }

    // A session of turns and rests up to its end. Whatever was restored, a service sees only what it knows.
    void live_through(int samples)
    {
        const qvhcal_state &hcal = qvstorage_object.hcal;
        const double turning[3] = {1, -1, 0.5};
        for (int k = 0; k < samples; ++k)
        {
            const int point = k % 60 < 45 ? k : 0;
            qvalgo_notify_data(3, turning, 0.02 * k);
            const qvs_calibration result = calibrate(on_sphere(point, {20, -10, 5}, 40.0));
            EXPECT_LE(result.accuracy, 3);
            EXPECT_TRUE(algo_out_hcal.update_result == 0 || algo_out_hcal.update_result == -1);
            EXPECT_TRUE(hcal.status.motion_movement >= 0 && hcal.status.motion_movement <= 2);
            EXPECT_TRUE(hcal.status.motion_result >= 16 && hcal.status.motion_result <= 18);
            EXPECT_TRUE(hcal.rbufcnt >= 0 && hcal.rbufcnt <= QVHCAL_RBUF_MAX) << hcal.rbufcnt;
        }
        qvalgo_disp_cfg();
        qvalgo_term();
    }
};

TEST_F(DamagedPayload, AChangedConfigurationByteCountsIfItsFieldIsCompared)
{
    std::string counts(544, 0);
    for (const customer_key &key : CUSTOMER_KEYS)
    {
        const std::size_t path = std::strlen(cfg.intact.c_str() + 9 + key.offset) + 1;
        const std::size_t size = key.kind == key_kind::path ? path : key.kind == key_kind::real ? 8 : 4;
        std::fill_n(counts.begin() + static_cast<std::ptrdiff_t>(key.offset), key.compared ? size : 0, 1);
    }
    const qvstorage_cfg in_force = qvstorage_object.cfg;
    for (std::size_t at = 0; at < 544; ++at)
    {
        std::string changed = cfg.intact;
        changed[9 + at] = static_cast<char>(changed[9 + at] ^ 1);
        write_file(cfg.path, changed);
        EXPECT_EQ(0, start());
        EXPECT_EQ(1, log.count(counts[at] != 0 ? "COMPARE_CFG [X]" : "LOAD_DAT_BAK [O]")) << at;
        EXPECT_TRUE(bytes_of(in_force) == bytes_of(qvstorage_object.cfg)) << "the stored one is never applied";
    }
}

TEST_F(DamagedPayload, AChangedDataByteIsRestoredAndHarmless)
{
    for (std::size_t at = 0; at < 472; ++at)
    {
        std::string payload = dat.intact.substr(9, 472);
        payload[at] = static_cast<char>(payload[at] ^ 0x81); // the sign, where it is there, and a small step
        start_with_data(payload);
        live_through(60);
    }
}

TEST_F(DamagedPayload, ExtremesInOneFieldAreHarmless)
{
    const auto live_with = [this](std::size_t at, std::size_t width)
    {
        for (std::size_t k = 0; k < std::size(REALS); ++k)
        {
            std::string payload = dat.intact.substr(9, 472);
            put(&payload, at, width, REALS[k], INTEGERS[k % std::size(INTEGERS)]);
            start_with_data(payload);
            live_through(120);
        }
    };
    for_each_field(DAT_FIELDS, live_with);
    write_file(dat.path, dat.intact);
    write_file(cfg.path, cfg.intact);
    start();
    EXPECT_EQ(learnt, answered_offset()) << "nothing of it stays behind in the process";
}

TEST_F(DamagedPayload, RecordsOfOneByteAreHarmless)
{
    for (const char byte : {'\x00', '\xFF', '\x80', '\x7F'})
    {
        write_file(cfg.path, framed(cfg, std::string(544, byte)));
        EXPECT_EQ(0, start());
        EXPECT_EQ(1, log.count("COMPARE_CFG [X]"));
        EXPECT_EQ(0.0f, answered_offset());
        start_with_data(std::string(472, byte));
        live_through(300);
    }
}

TEST_F(DamagedPayload, ExtremesEverywhereAreHarmless)
{
    for (const double real : REALS)
        for (const int32_t integer : INTEGERS)
        {
            // In force too, as a customer file can have it, and with every debug line on.
            std::string configuration = cfg.intact.substr(9, 544), payload(472, 0);
            fill(&configuration, CFG_FIELDS, real, integer);
            fill(&payload, DAT_FIELDS, real, integer);
            write_file(cfg.path, framed(cfg, configuration));
            write_file(dat.path, framed(dat, payload));
            qvstorage_object = {};
            std::memcpy(&qvstorage_object.cfg, configuration.data(), sizeof qvstorage_object.cfg);
            qvstorage_object.flags = QVSTORAGE_FLAG_DEFAULTS;
            std::filesystem::remove(custcfg);
            log.lines.clear();
            EXPECT_EQ(0, qvalgo_init());
            EXPECT_EQ(1, log.count(!std::isnan(real) ? "LOAD_DAT_BAK [O]" : "COMPARE_CFG [X]"));
            live_through(200);

            write_file(custcfg, settings);
            start_with_data(payload);
            live_through(300);
        }
}
