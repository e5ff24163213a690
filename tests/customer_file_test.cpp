#include "customer_file.h"
#include "support.h"

#include <fmt/format.h>

using outcome = qv6d::customer_line::outcome;

// A line of the report as "number:column result", the warnings' columns behind it.
static std::string brief(const qv6d::customer_line &line)
{
    std::string text = fmt::format("{}:{} {}", line.number, line.column, "tsne"[static_cast<int>(line.result)]);
    for (const qv6d::customer_warning &warning : line.warnings)
        text += fmt::format(" {}:{}", warning.column, warning.text);
    return text;
}

TEST(CheckedFile, EndsWithWhatTheLibraryMakesOfTheWholeFile)
{
    const temporary_directory dir;
    const std::string long_comment = "#" + std::string(126, '#') + "\n", take = "hcal.rbufsize=30\n";
    const std::string zero(1, '\0');
    const std::string texts[] = {
        "",
        "\n",
        take,
        "hcal.rbufsize=30",
        take + long_comment + "hcal.rbufsize=31\n",
        take + "hcal.readycnt=\nhcal.rbufsize=31\n",
        take + "=5\nhcal.rbufsize=31\n",
        take + "=\nhcal.rbufsize=31\n",
        "hcal.rbufsize=33" + zero + "\nhcal.readycnt=7",
        // The line ends at the zero byte, but what lies behind 127 bytes is read as the next one.
        "hcal.rbufsize=33" + zero + std::string(110, 'x') + "hcal.readycnt=7\nhcal.incmask=1\n",
        "hcal.rbufsize=30" + std::string(109, ' ') + "\nhcal.incmask=1\n",
        "hcal.rbufsize=30" + std::string(110, ' ') + "\nhcal.incmask=1\n",
        "hcal.rbufsize=30\r\nenv.datbak=/x\r\n\r\nhcal.incmask=1",
        std::string(300, '\0') + "\nhcal.incmask=1",
    };
    for (const std::string &text : texts)
    {
        write_file(dir / "cust", text);
        qvstorage_cfg whole = qv6d::start_configuration();
        const int32_t status = load_file_cust(&whole, (dir / "cust").c_str());
        const qv6d::customer_report report = qv6d::read_customer_text(text);
        EXPECT_EQ(bytes_of(whole), bytes_of(report.result)) << text;
        EXPECT_EQ(status == 0 ? 0 : 1, report.count(outcome::ended)) << text;
    }
}

TEST(CheckedFile, StartsFromWhatQvsInitLibSets)
{
    const qvstorage_cfg base = qv6d::read_customer_text("").base;
    EXPECT_BITS(600.0, base.hcal.accuracy[0]);
    EXPECT_BITS(0.06, base.env.accthr);
    EXPECT_STREQ("/data/qvsd/qvalgo-cust.datbak", base.env.datbak);
}

TEST(CheckedFile, TrapsAreWarnedOfWhereTheyStand)
{
    const std::string blanks = "blanks within a value are removed: this is ";
    const std::string discards = ": every start would discard the stored calibration";
    const struct
    {
        std::string text, expected;
    } cases[] = {
        {"hcal.rbufsize = 40", "1:1 t"},
        {"hcal.rbufsize = 41", "1:1 t 17:cut to 40, the most that the library takes"},
        {"hcal.rbufsize = 9e99", "1:1 t 17:cut to 40, the most that the library takes"},
        {"hcal.rbufsize = 40.5", "1:1 t 17:the fraction is dropped: counts as 40"},
        {"hcal.incmask=-3e9", "1:1 t 14:beyond 32 bits: counts as -2147483648"},
        {"hcal.incmask=2147483647.5", "1:1 t 14:the fraction is dropped: counts as 2147483647"},
        {"hcal.incmask=nan", "1:1 t 14:not a number: counts as 0"},
        {"hcal.incmask=2\r\n", "1:1 t"}, // a number does not mind the carriage return
        {"hcal.incmask=\r\n", "1:1 t 14:\"\\r\" is no number and counts as 0"},
        {" hcal.incmask = 2 # two", "1:2 t 19:\"#two\" is ignored, but a comment belongs on a line of its own"},
        {"hcal.clearradius=0,5", "1:1 t 19:\",5\" is ignored: write a decimal point, not a comma"},
        {"hcal.clearradius=5uT", "1:1 t 19:\"uT\" is ignored: only \"5\" counts"},
        {"hcal.clearradius=1 000", "1:1 t 19:" + blanks + "\"1000\""},
        {"hcal.clearradius=1e999", "1:1 t 18:inf is stored"},
        {"fusion.hz=0", "1:1 t 11:0 is replaced when stored" + discards},
        {"fusion.hz=-0.0", "1:1 t 11:0 is replaced when stored" + discards},
        {"fusion.gamma=0", "1:1 t 14:0 is replaced when stored" + discards},
        {"fusion.rms=0", "1:1 t"}, // only the two that are replaced
        {"fusion.rms=nan", "1:1 t 12:not a number" + discards},
        {"fusion.ips=nan", "1:1 t 12:nan is stored"}, // not compared
        {"env.datbak=/x\r\n", "1:1 t 14:a carriage return stays in the path: save the file with plain line ends"},
        {"env.datbak=/x y", "1:1 t 14:" + blanks + "\"/xy\""},
        {"env.datbak=\"/x\"", "1:1 t 12:quotes stay in the path: remove them"},
        {"env.datbak=/x#y", "1:1 t 14:\"#\" begins no comment here: it is part of the path"},
        {"env.custcfg=/data/qvsd/qvalgo-cust.cfg", "1:1 t"},
        {"env.custcfg=/x", "1:1 t 1:does not redirect this file, which is open already; only discards the calibration"},
        {"# " + std::string(1, '\0'), "1:1 s 3:the line ends for the library at a zero byte"},
    };
    for (const auto &c : cases)
    {
        const qv6d::customer_report report = qv6d::read_customer_text(c.text);
        ASSERT_EQ(1u, report.lines.size()) << c.text;
        EXPECT_EQ(c.expected, brief(report.lines[0])) << c.text;
    }
}

TEST(CheckedFile, ASecondValueOfAKeyIsWarnedOf)
{
    const qv6d::customer_report report =
        qv6d::read_customer_text("hcal.incmask=1\nhcal.readycnt=3\nhcal.incmask=2\nhcal.incmask=3\n");
    ASSERT_EQ(4u, report.lines.size());
    EXPECT_EQ("3:1 t 1:overrides line 1", brief(report.lines[2]));
    EXPECT_EQ("4:1 t 1:overrides line 3", brief(report.lines[3]));
    EXPECT_EQ(2, report.lines[3].before.hcal.incmask);
    EXPECT_EQ(3, report.lines[3].after.hcal.incmask);
}

TEST(CheckedFile, WhatIsNotTakenSaysWhyAndWhatToDo)
{
    const struct
    {
        std::string text;
        int column;
        outcome result;
        std::string reason;
    } cases[] = {
        {"  hcal.rbufsiz=3", 3, outcome::not_taken, "unknown key \"hcal.rbufsiz\": did you mean hcal.rbufsize?"},
        {"HCAL.READYCNT=3", 1, outcome::not_taken, "unknown key \"HCAL.READYCNT\": did you mean hcal.readycnt?"},
        {"volume=3", 1, outcome::not_taken, "unknown key \"volume\": qv6d check --defaults lists all"},
        {"hcal.rlsm.rn=3", 1, outcome::not_taken, "hcal.rlsm.rn has no key: it keeps its default"},
        {"\xEF\xBB\xBFhcal.readycnt=3", 1, outcome::not_taken,
         "a byte order mark stands in front of the line: save the file without one"},
        {"hcal.readycnt = 3 = 4", 19, outcome::not_taken,
         "a second \"=\": expected one key = value, comments on lines of their own"},
        {"  # text", 3, outcome::not_taken, "a comment must begin in the first column: move it there"},
        {"text", 1, outcome::not_taken, "no \"=\": expected key = value, or # in front of a comment"},
        {" \t", 1, outcome::not_taken, "only blanks: the library reports it; leave the line empty"},
        {"env.datbak= /" + std::string(63, 'p'), 13, outcome::not_taken,
         "a path of 64 characters, but 63 are the most: env.datbak keeps \"/data/qvsd/qvalgo-cust.datbak\""},
        {" =5", 2, outcome::ended, "no key in front of \"=\": reading ends here"},
        {"hcal.readycnt=", 1, outcome::ended, "no value behind \"=\": reading ends here"},
        {std::string(130, '#'), 127, outcome::ended,
         "130 characters with the line's end, but 126 are the most: reading ends here"},
    };
    for (const auto &c : cases)
    {
        const qv6d::customer_report report = qv6d::read_customer_text(c.text);
        ASSERT_EQ(1u, report.lines.size()) << c.text;
        EXPECT_EQ(c.reason, report.lines[0].reason);
        EXPECT_EQ(c.column, report.lines[0].column) << c.text;
        EXPECT_EQ(c.result, report.lines[0].result) << c.text;
        EXPECT_EQ(bytes_of(report.base), bytes_of(report.result)) << c.text;
    }
}
