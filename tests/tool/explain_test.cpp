#include "explain/cycles.h"
#include "explain/verdict.h"
#include "recordings/device_log.h"
#include "support.h"

#include <fmt/format.h>

TEST(DeviceLog, TakesTheLibrarysLinesInEveryFormat)
{
    const std::string text = "[qvhcal_update       -0012]  QVMOTION_RESULT__READY", foreign = "foreign";
    const std::tuple<std::string, std::string, const char *> cases[] = {
        {text, text, "plain"},
        {"E/qvalgo: " + text, text, "as the host's log writes it"},
        {"E/qvalgo  ( 1234): " + text, text, "brief"},
        {"01-02 00:01:05.250 E/qvalgo  ( 1234): " + text, "86465.250 s: " + text, "time"},
        {"03-01 00:00:00.000  1234  1240 E qvalgo  : " + text, "5184000.000 s: " + text,
         "threadtime, after a leap day"},
        {"03-01 00:00:00.000  1234  1240 E other   : " + text, foreign, "another program's tag"},
        {"03-01 00:00:00.000  1234  1240 E qvalgo2 : " + text, foreign, "a longer tag"},
        {"03-01 00:00:00.000  1234  1240 E other   : qvalgo: no", foreign, "the tag in another's text"},
        {"[1234] E/other: something]  else", foreign, "brackets of another program"},
        {"E/qvalgo: ", foreign, "nothing after the tag"},
        {"qvalgo", foreign, "the tag alone"},
        {"", foreign, "an empty line"},
    };
    for (const auto &[logged, expected, why] : cases)
    {
        const auto line = qv6d::library_line(logged);
        const std::string time = line && line->seconds ? fmt::format("{:.3f} s: ", *line->seconds) : "";
        EXPECT_EQ(expected, line ? time + std::string(line->text) : foreign) << why;
    }
}

class Cycles : public testing::Test
{
protected:
    bool take(const std::string &line)
    {
        return reader.take(qv6d::log_entry(line), 1.5);
    }

    void say(const std::string &operation, const std::string &text)
    {
        refused += !take(fmt::format("[{:<20}-0001]  {}", operation, text));
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
        say("estimate_offset", fmt::format("EST_RLSM_OUT : offset(1.5 2.5 3.5) radius({}) stable({})", radius, stable));
    }

    qv6d::cycle last;
    int refused = 0;
    qv6d::cycle_reader reader{[this](const qv6d::cycle &c) { last = c; }};
};

TEST_F(Cycles, OutcomesOfTheBuffer)
{
    using outcome = qv6d::buffer_outcome;
    const std::tuple<outcome, const char *, const char *> unfitted[] = {
        {outcome::not_moved, "QVMOTION motion_movement_pending = 0", "QVMOTION_RESULT__UNKNOWN"},
        {outcome::span_too_small, "sensitivity_DIFF__min [X]", "QVMOTION_RESULT__UNKNOWN"},
        {outcome::unbalanced, "sensitivity_RATE [X]", "QVMOTION_RESULT__UNKNOWN"},
        {outcome::unknown, "", "QVMOTION_RESULT__UNKNOWN"}, // the motion module's switch is off
        {outcome::discarded, "", "QVMOTION_RESULT__READY->UNKNOWN(DUMMY)"},
        {outcome::not_fitted, "", "QVMOTION_RESULT__READY"},
        {outcome::filling, "", ""},
        {outcome::noise, "", "QVMOTION_RESULT__NOISE2"},
    };
    for (const auto &[expected, motion, result] : unfitted)
    {
        say("qvmotion_get_result", motion);
        say("qvhcal_update", "QVMOTION_MOVEMENT__STABLE");
        say("qvhcal_update", result);
        EXPECT_EQ(expected, end().outcome) << motion << result;
    }
    EXPECT_EQ(qv6d::reset_cause::span, last.reset);
    EXPECT_EQ(outcome::disabled, end().outcome) << "nothing but the result";

    const std::tuple<outcome, const char *, int, const char *> fitted[] = {
        {outcome::unstable, "45.0", 0, "0, 1, 1 17"},
        {outcome::too_large, "70.1", 1, "0, 1, 1 17"},
        {outcome::accepted, "70.0", 1, "1, 1, 1 17"},
        {outcome::validated, "45.0", 1, "3, 2, 1 17"},
    };
    for (const auto &[expected, radius, stable, counts] : fitted)
    {
        fit(radius, stable);
        EXPECT_EQ(expected, end(counts).outcome) << radius << counts;
        EXPECT_EQ(9, last.fit.samples);
        EXPECT_BITS(0.5, *last.fit.scatter);
    }
    EXPECT_EQ(0, refused);
}

TEST_F(Cycles, CausesOfAReset)
{
    using cause = qv6d::reset_cause;
    say("qvhcal_clear", "[INFO] HCAL CLEARD(RESET)");
    say("qvhcal_update", "QVMOTION_MOVEMENT__NOISE1");
    EXPECT_EQ(cause::scatter, end().reset);
    for (const auto &[raw_grade, expected] : {std::pair{0, cause::grade}, {2, cause::clear_radius}})
    {
        fit("45.0", 1);
        say("qvhcal_clear", "[INFO] HCAL CLEARD(RESET)");
        say("update_accuracy", fmt::format("update_accuracy (80.0:79.0)-(45.0)=34.0  0({}) 40.0(<20.0) 0", raw_grade));
        EXPECT_EQ(expected, end("0, 0, 1 17").reset);
        EXPECT_BITS(34.0, *last.distance);
        EXPECT_EQ(qv6d::buffer_outcome::validated, last.outcome) << "the count is back at 0 by then";
    }
    EXPECT_EQ(cause::none, end().reset);
}

TEST_F(Cycles, CutLinesAreRefusedAndTheNextCycleIsWhole)
{
    say("qvhcal_update", "QVMOTION_MOVEMENT__MOVING");
    say("qvhcal_update", "hcal_out 1.0 2.0 3.0, 4.0 5.0 6.0 45.0, 7.0 8.0 9");
    EXPECT_FALSE(take("no line of the library"));
    EXPECT_EQ(1, refused);
    EXPECT_EQ(0u, reader.cycles());
    say("qvhcal_disp_cfg", "-readycnt : 1");
    fit("45.0", 1);
    EXPECT_EQ(qv6d::buffer_outcome::validated, end("3, 1, 1 17").outcome) << "as configured";
    say("qvalgo_update_fusion", "ALGO_ORNT : 10.0 20.0 30.0");
    EXPECT_EQ(1u, reader.cycles());
}

TEST(Verdict, TellsWhatWasFoundAndReplaysNothing)
{
    qv6d::findings found = {};
    found.source.recording = true;
    found.end = qv6d::calibration_end::not_calibrated;
    const std::size_t without = verdict(found).size();
    found.advice.tried = 3;
    EXPECT_EQ(0u, verdict(found).back().find("None of 3 other rates"));
    found.advice.best = {
        {"fewer_samples", 3, {{"hcal.rbufsize", 40.0}}}, {true, 7.0, 9.24, qv6d::trust_verdict::held, 5, 0}, 6};
    EXPECT_EQ("With --every 6, hcal.rbufsize = 40 this recording calibrates: grade 3 after 9.2 s, and it held.",
              verdict(found).back());
    found.advice.best->tried = {true, 7.0, 9.24, qv6d::trust_verdict::contradicted, 5, 1.5};
    EXPECT_NE(std::string::npos, verdict(found).back().find("wrong for 1.5 of 5.0 s"));
    EXPECT_EQ(without + 1, verdict(found).size());
}
