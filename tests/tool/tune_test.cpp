#include "common/error.h"
#include "common/interrupt.h"
#include "common/processes.h"
#include "common/sphere.h"
#include "files/customer_overlay.h"
#include "support.h"
#include "tuning/ranking.h"
#include "tuning/recording_list.h"
#include "tuning/sweep.h"

#include <csignal>
#include <unistd.h>

static qv6d::sphere_fit through(int count, double flattened)
{
    qv6d::sphere_fit fit;
    for (int k = 0; k < count; ++k)
    {
        const qvcrd_vec3 p = on_sphere(k, {0.0, 0.0, 0.0}, k % 2 == 0 ? 45.5 : 44.5);
        fit.add(p.x + 217.0, p.y - 64.0, p.z * flattened - 539.0);
    }
    return fit;
}

TEST(Sphere, IsFoundFarFromTheOriginWithItsResidual)
{
    qv6d::sphere_fit fit = through(4000, 1.0);
    fit.add(std::nan(""), 0.0, 0.0);
    fit.add(0.0, HUGE_VAL, 0.0);
    EXPECT_EQ(4000u, fit.count());
    const qv6d::sphere s = fit.best().value();
    EXPECT_NEAR(217.0, s.centre[0], 0.05);
    EXPECT_NEAR(-64.0, s.centre[1], 0.05);
    EXPECT_NEAR(-539.0, s.centre[2], 0.05);
    EXPECT_NEAR(45.0, s.radius, 0.02);
    EXPECT_NEAR(0.5, s.residual, 0.01);
    EXPECT_NEAR(45.0 / 2.0, s.thickness, 0.1); // the path is denser near its poles
    EXPECT_EQ("", why_not_trusted(s));
}

TEST(Sphere, SamplesThatDetermineNoneAreToldNotFitted)
{
    for (const auto &[count, flattened] : {std::pair{0, 1.0}, {3, 1.0}, {100, 0.0}})
        EXPECT_FALSE(through(count, flattened).best()) << count << " samples, of a plane when times " << flattened;
    EXPECT_NE(std::string::npos, why_not_trusted(through(1000, 0.02).best().value()).find("in a plane"))
        << "a noisy plane";
    EXPECT_NE(std::string::npos, why_not_trusted(through(1000, 0.4).best().value()).find("not lie on one sphere"));
    qv6d::sphere_fit still;
    for (int k = 0; k < 10; ++k)
        still.add(10.0, 20.0, 30.0);
    EXPECT_FALSE(still.best());
}

TEST(Sweep, RangesMeetTheirEndWithoutRounding)
{
    const std::pair<const char *, std::vector<double>> cases[] = {
        {"15:40:5", {15, 20, 25, 30, 35, 40}},
        {"0.97:1:0.01", {0.97, 0.98, 0.99, 1}},       // 0.97 + 3 * 0.01 is beyond 1 in binary
        {"-0.3:0.1:0.1", {-0.3, -0.2, -0.1, 0, 0.1}}, // adding up leaves 5e-17 for 0
        {"0:1:0.3", {0, 0.3, 0.6, 0.9}},              // the end is not met
        {"3:1:-1", {3, 2, 1}},                        // downwards
        {"2:2:1", {2}},
        {"1e-7:3e-7:1e-7", {1e-7, 2e-7, 3e-7}},
        {"1,5:7:1,2.5", {1, 5, 6, 7, 2.5}},
    };
    for (const auto &[text, expected] : cases)
        EXPECT_EQ(expected, qv6d::parse_values("", text)) << text;
}

TEST(Sweep, ShardsCoverTheWholeOnce)
{
    const qv6d::sweep whole({qv6d::parse_key("hcal.rbufsize=15,20,25"), qv6d::parse_key("hcal.rlsm.w=0.97,0.98")},
                            {1, 5});
    ASSERT_EQ(12u, whole.size());
    EXPECT_EQ((std::vector<double>{15, 0.98}), whole.at(2).values);
    EXPECT_EQ(5u, whole.at(7).every);
    for (const std::uint64_t n : {1u, 2u, 5u, 12u, 13u})
    {
        std::vector<int> seen(12);
        for (std::uint64_t k = 1; k <= n; ++k)
            for (const qv6d::combination &c : whole.of({k, n}))
                ++seen[c.number - 1];
        EXPECT_EQ(std::vector<int>(12, 1), seen) << n;
    }
}

static qv6d::replay_figures figures(std::optional<double> time, std::optional<double> error,
                                    std::optional<double> spread, std::uint64_t resets)
{
    qv6d::replay_figures f;
    f.time = time;
    f.error = error;
    f.spread = spread;
    f.resets = resets;
    return f;
}

using order = std::vector<std::size_t>;

TEST(Ranking, WhatNeverGotThereComesLastWhateverTheFigure)
{
    using qv6d::criterion;
    const std::vector<qv6d::combination_result> results = {
        {{}, {figures({}, {}, {}, 0)}},              // never calibrated, so it never reset either
        {{}, {figures({}, 0.5, 9.0, 1)}},            // near, but never grade 3
        {{}, {figures(20.0, 0.7, 8.0, 2)}},          //
        {{}, {figures(10.0, std::nan(""), 8.0, 2)}}, // an offset that is not a number is no offset
        {{}, {figures(20.0, 0.7, 8.0, 2)}},          // equal to the third
    };
    EXPECT_EQ((order{2, 4, 3, 1, 0}), ranked(results, criterion::error));
    EXPECT_EQ((order{3, 2, 4, 1, 0}), ranked(results, criterion::time));
    EXPECT_EQ((order{2, 4, 3, 0, 1}), ranked(results, criterion::resets));
}

TEST(Ranking, TheWorstRecordingDecides)
{
    const auto none = figures({}, {}, {}, 0), good = figures(5.0, 0.1, 1.0, 0), fair = figures(5.0, 1.0, 1.0, 0),
               bad = figures(5.0, 2.0, 1.0, 0);
    EXPECT_EQ((order{2, 0, 1}),
              ranked({{{}, {good, bad}}, {{}, {good, none}}, {{}, {fair, fair}}}, qv6d::criterion::error));
}

TEST(Ranking, AFalseGradeCostsMoreThanALateOneAndThanTwoThatNeverCome)
{
    const auto none = figures({}, {}, {}, 0), good = figures(5.0, 0.1, 1.0, 0), late = figures(50.0, 0.1, 1.0, 0);
    auto wrong = good, unjudged = figures(1.0, {}, 1.0, 0), must_not = figures(1.0, {}, 1.0, 0);
    wrong.falsely_graded = must_not.falsely_graded = true;
    unjudged.counts = must_not.meant_to_calibrate = false;
    const std::vector<qv6d::combination_result> results = {
        {{}, {good, good, wrong, none}}, {{}, {good, none, none, none}},     {{}, {good, good, late, must_not}},
        {{}, {good, late, good, none}},  {{}, {good, none, none, unjudged}}, // what nobody can judge is no merit
    };
    EXPECT_EQ((order{3, 4, 1, 2, 0}), ranked(results, qv6d::criterion::time));
    EXPECT_EQ(0.1, error_quantile(results[0], 0.5));
}

TEST(RecordingList, SaysWhatIsKnownOfEachRecording)
{
    const temporary_directory dir;
    write_file(dir / "list",
               "# phones\r\n\nmust a b.csv\n  must-not\tc.csv\noffset=1,-2,3.5 must /d.csv\nleave-out e\nmusty.csv");
    const auto found = qv6d::recordings_of({"@" + (dir / "list"), "x.csv"});
    ASSERT_EQ(5u, found.size());
    EXPECT_EQ(dir / "a b.csv", found[0].path);
    EXPECT_EQ(qv6d::expectation::calibrates, found[0].expected);
    EXPECT_EQ(qv6d::expectation::does_not_calibrate, found[1].expected);
    EXPECT_EQ("/d.csv", found[2].path);
    EXPECT_EQ((std::array<double, 3>{1, -2, 3.5}), found[2].offset);
    EXPECT_EQ(dir / "musty.csv", found[3].path);
    EXPECT_EQ("x.csv", found[4].path);
    for (const char *bad :
         {"must", "offset=1,2 a.csv", "offset=1,2,nan a.csv", "must-not offset=1,2,3 a.csv", "# none"})
    {
        write_file(dir / "list", bad);
        EXPECT_THROW(qv6d::recordings_of({"@" + (dir / "list")}), qv6d::error) << bad;
    }
}

TEST(CustomerFileOverlay, ReplacesWhereTheBaseSetsTheKeyAndAppendsTheRest)
{
    const temporary_directory dir;
    write_file(dir / "base",
               "# hcal.rbufsize = 1\n hcal.rbuf size\t= 30\nhcal.readycnt=3\nenv.datbak = /x\nhcal.rbufsize=31");
    const qv6d::customer_overlay base(dir / "base");
    const std::vector<std::pair<std::string, double>> values = {{"hcal.rlsm.w", 0.97}, {"hcal.rbufsize", 20}};
    EXPECT_EQ("# hcal.rbufsize = 1\nhcal.rbufsize = 20\nhcal.readycnt=3\nenv.datbak = /x\nhcal.rbufsize = 20\n"
              "hcal.rlsm.w = 0.97\n",
              base.with(values));
    write_file(dir / "broken", "hcal.readycnt=\nhcal.rbufsize=31\n"); // what is appended would never be read
    EXPECT_THROW(const qv6d::customer_overlay broken(dir / "broken"), qv6d::error);
}

static int interrupt; // of the test below

// What run_in_processes says when the second of three jobs does `what`.
static std::string fault_of(void (*what)())
{
    qv6d::process_work work;
    work.run = [what](std::size_t i)
    {
        if (i == 1)
            what();
        return std::string(100000, static_cast<char>('a' + i)); // more than a pipe holds
    };
    work.name = [](std::size_t i) { return "job " + std::to_string(i); };
    std::string taken;
    work.take = [&taken](std::size_t i, const std::string &text) { taken += std::to_string(i) + text.substr(99999); };
    const qv6d::interrupt_guard guard;
    try
    {
        qv6d::run_in_processes(3, 1, work);
    }
    catch (const qv6d::error &e)
    {
        return std::to_string(e.code) + " " + e.what();
    }
    return taken;
}

TEST(Processes, ADeathOrAnErrorEndsTheRunWithItsReason)
{
    EXPECT_EQ("0a1b2c", fault_of([] {}));
    EXPECT_EQ("1 the process of job 1 died: signal 9, Killed", fault_of([] { raise(SIGKILL); }));
    EXPECT_EQ("1 the process of job 1 died: exit code 7", fault_of([] { _exit(7); }));
    EXPECT_EQ("4 gone", fault_of([] { throw qv6d::error(qv6d::EXIT_INPUT, "gone"); }));
    for (const int number : qv6d::INTERRUPTS)
    {
        interrupt = number;
        std::signal(number, SIG_DFL); // SIGHUP is ignored under nohup
        EXPECT_EQ("130 interrupted", fault_of([] { kill(getppid(), interrupt); })) << number;
        EXPECT_EQ("130 interrupted", fault_of([] { raise(interrupt), qv6d::throw_if_interrupted(); })) << number;
        EXPECT_EQ(SIG_DFL, std::signal(number, SIG_DFL)) << "restored";
    }
}
