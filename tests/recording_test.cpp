#include "error.h"
#include "platform/log.h"
#include "recording.h"
#include "summary.h"
#include "support.h"

class Recording : public testing::Test
{
protected:
    // What is read before the end or the fault, as "t kind x y z" lines, and the fault.
    std::string read(const std::string &text)
    {
        write_file(path, text);
        std::string seen;
        fault.clear();
        try
        {
            qv6d::recording events(path);
            for (qv6d::event e; events.next(&e);)
                seen += std::to_string(e.t_ns) + " " + std::to_string(static_cast<int>(e.kind)) + " " +
                        std::to_string(static_cast<int>(e.x)) + std::to_string(static_cast<int>(e.y)) +
                        std::to_string(static_cast<int>(e.z)) + "\n";
            EXPECT_EQ(text.size(), events.lines().size());
            EXPECT_EQ(text.size(), events.lines().bytes_read());
        }
        catch (const qv6d::error &e)
        {
            fault = e.what();
            EXPECT_EQ(qv6d::EXIT_MALFORMED, e.code);
        }
        return seen;
    }

    temporary_directory dir;
    std::string path = dir / "r.csv", fault;
};

TEST_F(Recording, ReadsBothForms)
{
    EXPECT_EQ("0 0 123\n5 2 456\n", read("t_ns,sensor,x,y,z\n0,acc,1,2,3\n5,mag,4,5,6\n"));
    EXPECT_EQ("0 0 123\n5 1 456\n", read("t_ns,sensor,x,y,z\r\n0, acc ,1,2,3\r\n\r\n5,gyr,4,5,6"));
    EXPECT_EQ("7 0 123\n7 1 456\n7 2 789\n", read("t_ns,ax,ay,az,gx,gy,gz,mx,my,mz\n7,1,2,3,4,5,6,7,8,9\n"));
    EXPECT_EQ("-5 2 123\n", read("t_ns,sensor,x,y,z\n-5,mag," + std::string(4084, '0') + "1,2,3\n")); // 4096 characters
    EXPECT_EQ("", fault);
}

TEST_F(Recording, SaysWhereAndWhatWasExpected)
{
    const std::string header = "t_ns,sensor,x,y,z\n", good = "0,mag,1,2,3\n";
    const struct
    {
        std::string text, fault;
    } cases[] = {
        {"", ": is empty, expected the header t_ns,sensor,x,y,z"},
        {"time,x\n", ":1: expected the header t_ns,sensor,x,y,z or t_ns,ax,ay,az,gx,gy,gz,mx,my,mz, found \"time,x\""},
        {std::string(99, 'h'),
         ":1: expected the header t_ns,sensor,x,y,z or t_ns,ax,ay,az,gx,gy,gz,mx,my,mz, found \"" +
             std::string(80, 'h') + "\""},
        {header + good + "5,mag,1,2\n", ":3: expected 5 columns (t_ns,sensor,x,y,z), found 4"},
        {header + good + "5,mag,1,2,3,4\n", ":3: expected 5 columns (t_ns,sensor,x,y,z), found 6"},
        {header + good + "5,baro,1,2,3\n", ":3: column sensor: expected acc, gyr or mag, found \"baro\""},
        {header + good + "5.5,mag,1,2,3\n", ":3: column t_ns: expected an integer, nanoseconds, found \"5.5\""},
        {header + good + "99999999999999999999,mag,1,2,3\n",
         ":3: column t_ns: \"99999999999999999999\" is too large or too small for a 64-bit number"},
        {header + good + "5,mag,1,,3\n", ":3: column y: expected a number, found \"\""},
        {header + good + "5,mag,1,2x,3\n", ":3: column y: expected a number, found \"2x\""},
        {header + good + "5,mag,1,2,1e39\n",
         ":3: column z: \"1e39\" is too large or too small for a single-precision number"},
        {header + good + "-1,mag,1,2,3\n", ":3: expected events in time order, found t_ns -1 after 0"},
        {header + good + std::string(5000, '1') + "\n",
         ":3: expected a line of at most 4096 characters; is this a text file?"},
    };
    for (const auto &c : cases)
    {
        EXPECT_EQ(c.text.find("0,mag") != std::string::npos ? "0 2 123\n" : "", read(c.text)) << c.fault;
        EXPECT_EQ(path + c.fault, fault);
    }
}

TEST_F(Recording, AMalformedWideLineHandsOutNothingOfItself)
{
    EXPECT_EQ("", read("t_ns,ax,ay,az,gx,gy,gz,mx,my,mz\n7,1,2,3,4,5,6,7,8,x\n"));
    EXPECT_EQ(path + ":2: column mz: expected a number, found \"x\"", fault);
    read("t_ns,ax,ay,az,gx,gy,gz,mx,my,mz\n7,1,2,3,4,5,6,7,8,9\n6,1,2,3,4,5,6,7,8,9\n");
    EXPECT_EQ(path + ":3: expected events in time order, found t_ns 6 after 7", fault);
}

TEST_F(Recording, LinesMayEndAnywhereInTheBuffer)
{
    // Longer than the reader's buffer of 1 MiB, with lines of changing length.
    std::string text = "t_ns,sensor,x,y,z\n";
    constexpr int count = 60000;
    for (int k = 0; k < count; ++k)
        text += std::to_string(k) + ",mag,1,2," + std::string(static_cast<std::size_t>(k % 23), '0') + "3\n";
    ASSERT_GT(text.size(), std::size_t{1} << 20);
    const std::string seen = read(text);
    EXPECT_EQ("", fault);
    EXPECT_EQ(count, std::count(seen.begin(), seen.end(), '\n'));
    EXPECT_NE(std::string::npos, seen.find("\n59999 2 123\n"));
}

TEST_F(Recording, FilesThatCannotBeReadAreTold)
{
    for (const std::string &missing : {dir / "missing.csv", dir / ""})
    {
        try
        {
            qv6d::recording events(missing);
            FAIL() << missing;
        }
        catch (const qv6d::error &e)
        {
            EXPECT_EQ(qv6d::EXIT_INPUT, e.code);
            EXPECT_EQ(0u, std::string(e.what()).find(missing + ": "));
        }
    }
}

TEST(RunningStats, LeaveOutWhatIsNotFinite)
{
    qv6d::running_stats stats;
    EXPECT_BITS(0.0, stats.stdev());
    for (const double value : {2.0, std::nan(""), 4.0, HUGE_VAL, 4.0, 4.0, 5.0, 5.0, 7.0, 9.0})
        stats.add(value);
    EXPECT_NEAR(5.0, stats.mean(), 1e-12);
    EXPECT_NEAR(2.0, stats.stdev(), 1e-12);
}

TEST(LogWatch, TellsResetsStartAndComplaints)
{
    qv6d::log_watch watch;
    for (const char *line : {"[load_file_cust      -0001]  [ERR] Cannot open x file.",
                             "[setup_cust_cfg      -0001]  [ERR] Could not parse 'a = b'",
                             "[load_file_cust      -0001]  [ERR] StringBuf OverFlow.",
                             "[qvstorage_init      -0001]  [INFO] COMPARE_CFG [X]",
                             "[qvhcal_clear        -0001]  [INFO] HCAL CLEARD(RESET)",
                             "[qvhcal_clear        -0001]  [INFO] HCAL CLEARD(RESET)"})
        watch.take(line);
    EXPECT_EQ(2u, watch.resets());
    EXPECT_EQ(qv6d::start_kind::config_changed, watch.started());
    EXPECT_EQ((std::vector<std::string>{"Could not parse 'a = b'", "StringBuf OverFlow."}), watch.complaints());
    watch.take("[qvstorage_init      -0001]  [INFO] LOAD_DAT_BAK [X] x");
    EXPECT_EQ(qv6d::start_kind::data_unreadable, watch.started());
}

TEST(LogSink, LinesOfEveryLengthArriveWhole)
{
    std::string last;
    qv6d::set_log_sink([&](std::string_view line) { last = line; });
    for (const std::size_t length : {511u, 512u, 513u, 2000u})
    {
        const std::string text(length, 'x');
        __android_log_print(6, "qvalgo", "%s", text.c_str());
        EXPECT_EQ(text, last);
    }
    qv6d::set_log_sink(nullptr);
}
