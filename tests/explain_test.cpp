#include "cycles.h"
#include "device_log.h"
#include "support.h"

TEST(DeviceLog, TakesTheLibrarysLinesInEveryFormat)
{
    const std::string text = "[qvhcal_update       -0012]  QVMOTION_RESULT__READY";
    const struct
    {
        std::string line;
        bool ours;
        double seconds;
        const char *why;
    } cases[] = {
        {text, true, -1, "plain"},
        {"E/qvalgo: " + text, true, -1, "as the host's log writes it"},
        {"E/qvalgo  ( 1234): " + text, true, -1, "brief"},
        {"01-02 00:01:05.250 E/qvalgo  ( 1234): " + text, true, 86465.25, "time"},
        {"03-01 00:00:00.000  1234  1240 E qvalgo  : " + text, true, 60 * 86400.0, "threadtime, after a leap day"},
        {"03-01 00:00:00.000  1234  1240 E other   : " + text, false, -1, "another program's tag"},
        {"03-01 00:00:00.000  1234  1240 E qvalgo2 : " + text, false, -1, "a longer tag"},
        {"03-01 00:00:00.000  1234  1240 E other   : qvalgo: no", false, -1, "the tag in another's text"},
        {"[1234] E/other: something]  else", false, -1, "brackets of another program"},
        {"E/qvalgo: ", false, -1, "nothing behind the tag"},
        {"qvalgo", false, -1, "the tag alone"},
        {"", false, -1, "an empty line"},
    };
    for (const auto &c : cases)
    {
        const auto line = qv6d::library_line(c.line);
        ASSERT_EQ(c.ours, line.has_value()) << c.why;
        if (!line)
            continue;
        EXPECT_EQ(text, line->text) << c.why;
        EXPECT_EQ(c.seconds >= 0, line->seconds.has_value()) << c.why;
        EXPECT_TRUE(!line->seconds || std::abs(*line->seconds - c.seconds) < 1e-6) << c.why;
    }
}

class Cycles : public testing::Test
{
protected:
    void say(const std::string &operation, const std::string &text)
    {
        std::string padded = operation;
        padded.resize(std::max<std::size_t>(20, padded.size()), ' ');
        if (!reader.take("[" + padded + "-0001]  " + text, 1.5))
            ++refused;
    }

    qv6d::cycle end(const std::string &counts = "0, 1, 1 17")
    {
        say("qvhcal_update", "hcal_out 1.0 2.0 3.0, 4.0 5.0 6.0 45.0, 7.0 8.0 9.0 13.9, " + counts);
        say("qvhcal_update", std::string(75, '-'));
        reader.finish();
        return last;
    }

    void fit(const std::string &radius, int stable)
    {
        say("qvhcal_update", "QVMOTION_MOVEMENT__MOVING");
        say("qvhcal_update", "QVMOTION_RESULT__READY");
        say("estimate_offset", "EST_LSM_OUT offset(1.000,2.000,3.000) refoffset(0.000,0.000,0.000) golden_cnt=9");
        say("update_stabled_status", "RLSM_STABLED[X] max_stdev(0.5<0.3) max_df(1.5<0.9)");
        say("estimate_offset",
            "EST_RLSM_OUT : offset(1.5 2.5 3.5) radius(" + radius + ") stable(" + std::to_string(stable) + ")");
    }

    qv6d::cycle last;
    int refused = 0;
    qv6d::cycle_reader reader{[this](const qv6d::cycle &c) { last = c; }};
};

TEST_F(Cycles, OutcomesOfTheBuffer)
{
    using outcome = qv6d::buffer_outcome;
    const auto full = [this](std::initializer_list<const char *> motion, const char *result)
    {
        for (const char *line : motion)
            say("qvmotion_get_result", line);
        say("qvhcal_update", "QVMOTION_MOVEMENT__STABLE");
        say("qvhcal_update", result);
        return end().outcome;
    };
    EXPECT_EQ(outcome::not_moved, full({"QVMOTION motion_movement_pending = 0"}, "QVMOTION_RESULT__UNKNOWN"));
    EXPECT_EQ(outcome::span_too_small, full({"sensitivity_DIFF__min [X]"}, "QVMOTION_RESULT__UNKNOWN"));
    EXPECT_EQ(outcome::unbalanced, full({"sensitivity_RATE [X]"}, "QVMOTION_RESULT__UNKNOWN"));
    EXPECT_EQ(outcome::unknown, full({}, "QVMOTION_RESULT__UNKNOWN")) << "the motion module's switch is off";
    EXPECT_EQ(outcome::discarded, full({}, "QVMOTION_RESULT__READY->UNKNOWN(DUMMY)"));
    EXPECT_EQ(outcome::noise, full({}, "QVMOTION_RESULT__NOISE2"));
    EXPECT_EQ(qv6d::reset_cause::span, last.reset);
    EXPECT_EQ(outcome::not_fitted, full({}, "QVMOTION_RESULT__READY"));
    EXPECT_EQ(outcome::filling, full({}, ""));
    EXPECT_EQ(outcome::disabled, end().outcome) << "nothing but the result";

    fit("45.0", 0);
    EXPECT_EQ(outcome::unstable, end().outcome);
    EXPECT_EQ(9, last.fit.samples);
    EXPECT_BITS(0.5, *last.fit.scatter);
    fit("70.1", 1);
    EXPECT_EQ(outcome::too_large, end().outcome);
    fit("70.0", 1);
    EXPECT_EQ(outcome::accepted, end("1, 1, 1 17").outcome);
    fit("45.0", 1);
    EXPECT_EQ(outcome::validated, end("3, 2, 1 17").outcome);
    EXPECT_EQ(0, refused);
}

TEST_F(Cycles, CausesOfAReset)
{
    using cause = qv6d::reset_cause;
    say("qvhcal_clear", "[INFO] HCAL CLEARD(RESET)");
    say("qvhcal_update", "QVMOTION_MOVEMENT__NOISE1");
    EXPECT_EQ(cause::scatter, end().reset);

    const auto graded = [this](const char *raw)
    {
        fit("45.0", 1);
        say("qvhcal_clear", "[INFO] HCAL CLEARD(RESET)");
        say("update_accuracy", std::string("update_accuracy (80.0:79.0)-(45.0)=34.0  0(") + raw + ") 40.0(<20.0) 0");
        return end("0, 0, 1 17");
    };
    EXPECT_EQ(cause::grade, graded("0").reset);
    EXPECT_BITS(34.0, *last.distance);
    EXPECT_EQ(cause::clear_radius, graded("2").reset);
    EXPECT_EQ(qv6d::buffer_outcome::validated, last.outcome) << "the count is back at 0 by then";
    EXPECT_EQ(cause::none, end().reset);
}

TEST_F(Cycles, CutLinesAreRefusedAndTheNextCycleIsWhole)
{
    say("qvhcal_update", "QVMOTION_MOVEMENT__MOVING");
    say("qvhcal_update", "hcal_out 1.0 2.0 3.0, 4.0 5.0 6.0 45.0, 7.0 8.0 9");
    EXPECT_FALSE(reader.take("no line of the library", 0.0));
    EXPECT_EQ(1, refused);
    EXPECT_EQ(0u, reader.cycles());
    say("qvhcal_disp_cfg", "-readycnt : 1");
    fit("45.0", 1);
    EXPECT_EQ(qv6d::buffer_outcome::validated, end("3, 1, 1 17").outcome) << "as configured";
    say("qvalgo_update_fusion", "ALGO_ORNT : 10.0 20.0 30.0");
    EXPECT_EQ(1u, reader.cycles());
}
