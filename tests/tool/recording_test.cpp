#include "common/error.h"
#include "library/summary.h"
#include "platform/log.h"
#include "recordings/recording.h"
#include "support.h"

#include <fmt/format.h>

// What is read before the end or the fault, as "t kind xyz;", and the fault without the file's name.
static std::string read(const std::string &text)
{
    const temporary_directory dir;
    const std::string path = dir / "r.csv";
    write_file(path, text);
    std::string seen;
    try
    {
        qv6d::recording events(path);
        for (qv6d::event e; events.next(&e);)
            seen += fmt::format("{} {} {}{}{};", e.t_ns, static_cast<int>(e.kind), e.x, e.y, e.z);
        EXPECT_EQ(text.size(), events.source().size());
        EXPECT_EQ(text.size(), events.source().bytes_read());
    }
    catch (const qv6d::error &e)
    {
        EXPECT_EQ(qv6d::EXIT_MALFORMED, e.code);
        EXPECT_EQ(0u, std::string(e.what()).find(path)) << e.what();
        seen += std::string(e.what()).substr(path.size());
    }
    return seen;
}

TEST(Recording, IsReadInBothFormsUpToAFaultThatIsSaidWithItsPlace)
{
    const std::string header = "t_ns,sensor,x,y,z\n", begun = header + "0,mag,1,2,3\n";
    const std::string wide = "t_ns,ax,ay,az,gx,gy,gz,mx,my,mz", wide_begun = wide + "\n7,1,2,3,4,5,6,7,8,9\n";
    const std::string no_header = ":1: expected the header t_ns,sensor,x,y,z or " + wide +
                                  ", or a recording of an app that docs/recordings.md lists (--columns says what the "
                                  "columns of another table are), found \"";
    const std::pair<std::string, std::string> cases[] = {
        {begun + "5,mag,4,5,6\n", "0 2 123;5 2 456;"},
        {"t_ns,sensor,x,y,z\r\n0, acc ,1,2,3\r\n\r\n5,gyr,4,5,6", "0 0 123;5 1 456;"},
        {wide_begun, "7 0 123;7 1 456;7 2 789;"},
        {"\xEF\xBB\xBF" + header + "5,bias,1,2,3\n", "5 3 123;"},
        {header + "-5,mag," + std::string(4084, '0') + "1,2,3\n", "-5 2 123;"}, // the longest line
        {"", ": is empty, expected the header t_ns,sensor,x,y,z"},
        {"time,x\n", no_header + "time,x\""},
        {std::string(99, 'h'), no_header + std::string(80, 'h') + "\""},
        {begun + "5,mag,1,2\n", "0 2 123;:3: expected 5 columns (t_ns,sensor,x,y,z), found 4"},
        {begun + "5,mag,1,2,3,4\n", "0 2 123;:3: expected 5 columns (t_ns,sensor,x,y,z), found 6"},
        {begun + "5,mag,1,2,3,\n", "0 2 123;:3: expected 5 columns (t_ns,sensor,x,y,z), found 6"},
        {begun + "5,baro,1,2,3\n", "0 2 123;:3: column sensor: expected acc, gyr, mag or bias, found \"baro\""},
        {begun + "5.5,mag,1,2,3\n", "0 2 123;:3: column t_ns: expected an integer, nanoseconds, found \"5.5\""},
        {begun + "99999999999999999999,mag,1,2,3\n",
         "0 2 123;:3: column t_ns: \"99999999999999999999\" is too large or too small for a 64-bit number"},
        {begun + "5,mag,1,,3\n", "0 2 123;:3: column y: expected a number, found \"\""},
        {begun + "5,mag,1,2x,3\n", "0 2 123;:3: column y: expected a number, found \"2x\""},
        {begun + "5,mag,1,2,1e39\n",
         "0 2 123;:3: column z: \"1e39\" is too large or too small for a single-precision number"},
        {begun + "-1,mag,1,2,3\n", "0 2 123;:3: expected events in time order, found t_ns -1 after 0"},
        {begun + std::string(5000, '1') + "\n",
         "0 2 123;:3: expected a line of at most 4096 characters; is this a text file?"},
        // A malformed wide line hands out nothing of itself.
        {wide + "\n7,1,2,3,4,5,6,7,8,x\n", ":2: column mz: expected a number, found \"x\""},
        {wide_begun + "6,1,2,3,4,5,6,7,8,9\n",
         "7 0 123;7 1 456;7 2 789;:3: expected events in time order, found t_ns 6 after 7"},
    };
    for (const auto &[text, expected] : cases)
        EXPECT_EQ(expected, read(text)) << text;
}

TEST(Recording, LinesMayEndAnywhereInTheBuffer)
{
    // Longer than the reader's buffer of 1 MiB, with lines of changing length.
    std::string text = "t_ns,sensor,x,y,z\n", expected;
    for (int k = 0; k < 60000; ++k)
    {
        text += std::to_string(k) + ",mag,1,2," + std::string(static_cast<std::size_t>(k % 23), '0') + "3\n";
        expected += std::to_string(k) + " 2 123;";
    }
    ASSERT_GT(text.size(), std::size_t{1} << 20);
    EXPECT_TRUE(expected == read(text));
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

// What the library says arrives the same from its call and from the text that a device's log keeps of it.
TEST(LogEntry, ACallSaysWhatItsTextSays)
{
    std::string text;
    const auto check = [&](const qv6d::log_entry &line)
    {
        double number = 0;
        int integer = 0;
        char letter = 0;
        EXPECT_TRUE(line.known());
        EXPECT_EQ("fit", line.operation());
        EXPECT_EQ("RESULT[O] radius(45.250<   1.500) of 7", line.said());
        EXPECT_EQ("[fit                 -0012]  RESULT[O] radius(45.250<   1.500) of 7", line.text());
        EXPECT_TRUE(line.begins("RESULT[") && line.begins("RESULT[O] radius(4") && !line.begins("RESULT[X"));
        EXPECT_TRUE(line.is(line.said()) && !line.is("RESULT["));
        EXPECT_FALSE(line.read("RESULT[%c] radius(%f<%d) of %d", &letter, &number, &integer, &integer));
        EXPECT_FALSE(line.read("RESULT[%c] radius(", &letter));
        text = line.text();
    };
    qv6d::set_log_sink(check);
    constexpr const char *format = "[%-20s-%04d]  RESULT[%c] radius(%.3f<%8.3f) of %d\n\n";
    __android_log_print(6, "qvalgo", format, "fit", 12, 'O', 45.25, 1.5, 7);
    qv6d::rethrow_sink_failure();
    check(qv6d::log_entry(text));

    for (const std::size_t length : {1u, 511u, 512u, 2000u})
    {
        const std::string said(length, 'x');
        qv6d::set_log_sink(
            [&](const qv6d::log_entry &line)
            {
                EXPECT_TRUE(line.is(said) && line.begins(said) && line.text().ends_with("]  " + said)) << length;
                text = line.said();
            });
        text.clear();
        __android_log_print(6, "qvalgo", "[%-20s-%04d]  %s\n", "open", 1, said.c_str());
        EXPECT_EQ(said, text);
        __android_log_print(6, "qvalgo", "[%-20s-%04d]  %sx\n", "open", 1, said.substr(1).c_str());
    }
    qv6d::set_log_sink(nullptr);
    EXPECT_FALSE(qv6d::log_entry("no line of the library").known());
}

TEST(LogEntry, ValuesOfACallAreNotRoundedAndThoseOfATextAreThosePrinted)
{
    const auto values = [](const qv6d::log_entry &line, double *a, double *b)
    {
        int n = 0;
        char c = 0;
        EXPECT_TRUE(line.read("at %f, %f: %d%c", a, b, &n, &c));
        EXPECT_TRUE(n == -3 && c == 'X');
    };
    double a = 0, b = 0;
    std::string text;
    qv6d::set_log_sink(
        [&](const qv6d::log_entry &line)
        {
            values(line, &a, &b);
            text = line.text();
        });
    __android_log_print(6, "qvalgo", "[%-20s-%04d]  at %.1f, %f: %d%c\n", "fit", 1, 1.0 / 3, std::nan(""), -3, 'X');
    qv6d::set_log_sink(nullptr);
    EXPECT_BITS(1.0 / 3, a);
    EXPECT_TRUE(std::isnan(b));
    values(qv6d::log_entry(text), &a, &b);
    EXPECT_BITS(0.3, a);
    EXPECT_TRUE(std::isnan(b));
}
