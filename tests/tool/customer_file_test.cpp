#include "files/customer_file.h"
#include "library/configuration.h"
#include "qv6dalgo.h"
#include "support.h"

#include <fmt/format.h>

using outcome = qv6d::customer_line::outcome;

// What is said of a file: each line as "number:column result", the reason and the warnings' columns after it.
static std::string told(const std::string &text)
{
    std::string all;
    for (const qv6d::customer_line &line : qv6d::read_customer_text(text).lines)
    {
        all += fmt::format("{}{}:{} {}{}{}", all.empty() ? "" : "; ", line.number, line.column,
                           "tsne"[static_cast<int>(line.result)], line.reason.empty() ? "" : " ", line.reason);
        for (const qv6d::customer_warning &warning : line.warnings)
            all += fmt::format(" {}:{}", warning.column, warning.text);
    }
    return all;
}

TEST(CheckedFile, EndsWithWhatTheLibraryMakesOfTheWholeFile)
{
    const temporary_directory dir;
    const std::string long_comment = "#" + std::string(126, '#') + "\n", take = "hcal.rbufsize=30\n";
    const std::string zero(1, '\0');
    const std::string texts[] = {
        "",
        "hcal.rbufsize=30",
        take + long_comment + "hcal.rbufsize=31\n",
        take + "hcal.readycnt=\nhcal.rbufsize=31\n",
        take + "=5\nhcal.rbufsize=31\n",
        take + "=\nhcal.rbufsize=31\n",
        "hcal.rbufsize=33" + zero + "\nhcal.readycnt=7",
        // The line ends at the zero byte, but what follows it counts.
        "hcal.rbufsize=33" + zero + std::string(110, 'x') + "hcal.readycnt=7\nhcal.incmask=1\n",
        "hcal.rbufsize=30" + std::string(109, ' ') + "\nhcal.incmask=1\n",
        "hcal.rbufsize=30" + std::string(110, ' ') + "\nhcal.incmask=1\n",
        "hcal.rbufsize=30\r\nenv.datbak=/x\r\n\r\nhcal.incmask=1",
        std::string(300, '\0') + "\nhcal.incmask=1",
        "hcal.incmask=1\n" + std::string(65520, '\n') + "\nhcal.rbufsize=30\n",
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

TEST(CheckedFile, StartsFromWhatQvsInitLibSetsAndLeavesTheLibraryAsItIs)
{
    qvalgo_config_clearradius(3.0);
    qvalgo_config_gyrthr(0.3);
    const qvstorage_cfg base = qv6d::read_customer_text("").base;
    EXPECT_BITS(0.06, base.env.accthr);
    EXPECT_BITS(0.0, base.env.gyrthr);
    EXPECT_BITS(3.0, qv6d::configuration_in_force().hcal.clearradius);
}

TEST(CheckedFile, SaysOfEveryLineWhatIsWrongWithItAndWhere)
{
    const std::string blanks = "blanks within a value are removed: this is ";
    const std::string discards = ": every start would discard the stored calibration";
    const std::pair<std::string, std::string> cases[] = {
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
        {"env.custcfg=" QV6D_INIT_CUSTCFG, "1:1 t"},
        {"env.custcfg=/x", "1:1 t 1:does not redirect this file, which is open already; only discards the calibration"},
        {"# " + std::string(1, '\0'), "1:1 s 3:the line ends for the library at a zero byte"},
        {"hcal.incmask=1\nhcal.readycnt=3\nhcal.incmask=2\nhcal.incmask=3\n",
         "1:1 t; 2:1 t; 3:1 t 1:overrides line 1; 4:1 t 1:overrides line 3"},
        {"  hcal.rbufsiz=3", "1:3 n unknown key \"hcal.rbufsiz\": did you mean hcal.rbufsize?"},
        {"HCAL.READYCNT=3", "1:1 n unknown key \"HCAL.READYCNT\": did you mean hcal.readycnt?"},
        {"volume=3", "1:1 n unknown key \"volume\": qv6d check --defaults lists all"},
        {"hcal.rlsm.rn=3", "1:1 n hcal.rlsm.rn has no key: it keeps its default"},
        {"\xEF\xBB\xBFhcal.readycnt=3",
         "1:1 n a byte order mark stands in front of the line: save the file without one"},
        {"hcal.readycnt = 3 = 4", "1:19 n a second \"=\": expected one key = value, comments on lines of their own"},
        {"  # text", "1:3 n a comment must begin in the first column: move it there"},
        {"text", "1:1 n no \"=\": expected key = value, or # in front of a comment"},
        {" \t", "1:1 n only blanks: the library reports it; leave the line empty"},
        {"env.datbak= /" + std::string(63, 'p'),
         "1:13 n a path of 64 characters, but 63 are the most: env.datbak keeps \"" QV6D_INIT_DATBAK "\""},
        {" =5", "1:2 e no key in front of \"=\": reading ends here"},
        {"hcal.readycnt=", "1:1 e no value after \"=\": reading ends here"},
        {std::string(130, '#'), "1:127 e 130 characters with the line's end, but 126 are the most: reading ends here"},
    };
    for (const auto &[text, expected] : cases)
        EXPECT_EQ(expected, told(text)) << text;
}
