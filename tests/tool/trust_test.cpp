// The second verdict: is a grade contradicted by what the recording shows later?

#include "trust/words.h"

#include <Eigen/Geometry>
#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <nlohmann/json.hpp>

using namespace qv6d;
using Eigen::Vector3d;

namespace
{

const Vector3d OFFSET(100.0, -50.0, 200.0), STEP(20.0, 0.0, 0.0);
constexpr double RADIUS = 48.0, LENGTH = 60.0, RATE = 25.0;

// A device that turns about all axes, unless told otherwise, and publishes the offset of its start at grade 3.
struct use
{
    std::function<Vector3d(double)> offset = [](double) { return OFFSET; }; // the true one
    std::function<Vector3d(double)> direction = [](double t)
    { return Vector3d(std::sin(1.1 * t) * std::cos(0.7 * t), std::sin(0.9 * t), std::cos(1.1 * t)).normalized(); };
    Vector3d published = OFFSET;
    Vector3d stretch = Vector3d::Ones(); // of the sensor's axes
    int grade = 3;
    bool timed = true;
};

trust judged(const use &how)
{
    trust_judge judge;
    for (int i = 0; i < static_cast<int>(LENGTH * RATE); ++i)
    {
        const double t = i / RATE, noise = 0.3 * std::sin(1e4 * t);
        const Vector3d field =
            how.stretch.cwiseProduct(RADIUS * how.direction(t)) + how.offset(t) + Vector3d::Constant(noise);
        judge.add({t,
                   {field.x(), field.y(), field.z()},
                   {how.published.x(), how.published.y(), how.published.z()},
                   RADIUS,
                   how.grade});
    }
    return judge.finish(how.timed);
}

std::function<Vector3d(double)> changed(double from, double to, const Vector3d &by)
{
    return [=](double t) -> Vector3d { return t >= from && t < to ? Vector3d(OFFSET + by) : OFFSET; };
}

Vector3d at_rest(double)
{
    return Vector3d(1.0, 2.0, 2.0) / 3.0;
}

Vector3d resting_after_20_s(double t)
{
    return t < 20.0 ? use().direction(t) : at_rest(t);
}

} // namespace

TEST(Trust, GivesAVerdict)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const struct
    {
        const char *name;
        use how;
        trust_verdict verdict;
        unjudged_reason reason;
        double from, to, by; // of the one contradiction
    } cases[] = {
        {"right", {}, trust_verdict::held, unjudged_reason::none, 0, 0, 0},
        {"off by 4", {.published = OFFSET + Vector3d(0, 4, 0)}, trust_verdict::held, unjudged_reason::none, 0, 0, 0},
        {"off by 6",
         {.published = OFFSET + Vector3d(0, 6, 0)},
         trust_verdict::contradicted,
         unjudged_reason::none,
         0,
         LENGTH,
         6},
        {"NaN",
         {.published = Vector3d::Constant(nan)},
         trust_verdict::contradicted,
         unjudged_reason::none,
         0,
         LENGTH,
         nan},
        {"step",
         {.offset = changed(30, LENGTH, STEP)},
         trust_verdict::contradicted,
         unjudged_reason::none,
         30,
         LENGTH,
         20},
        {"magnet comes and goes",
         {.offset = changed(20, 40, STEP)},
         trust_verdict::contradicted,
         unjudged_reason::none,
         20,
         40,
         20},
        {"passes", {.offset = changed(30, 34, STEP)}, trust_verdict::held, unjudged_reason::none, 0, 0, 0},
        {"soft iron of 10 %", {.stretch = {1.1, 1.0, 0.9}}, trust_verdict::held, unjudged_reason::none, 0, 0, 0},
        {"step at rest",
         {.offset = changed(30, LENGTH, STEP), .direction = resting_after_20_s},
         trust_verdict::contradicted,
         unjudged_reason::none,
         30,
         LENGTH,
         9.8},
        {"passes at rest",
         {.offset = changed(30, 34, STEP), .direction = resting_after_20_s},
         trust_verdict::held,
         unjudged_reason::none,
         0,
         0,
         0},
        {"field of another room at rest",
         {.offset = changed(25, 40, STEP),
          .direction = [](double t) { return t < 20.0 || t > 45.0 ? use().direction(t) : at_rest(t); }},
         trust_verdict::held,
         unjudged_reason::none,
         0,
         0,
         0},
        {"always at rest", {.direction = at_rest}, trust_verdict::unjudged, unjudged_reason::too_little, 0, 0, 0},
        {"never graded",
         {.published = Vector3d::Zero(), .grade = 2},
         trust_verdict::unjudged,
         unjudged_reason::never_graded,
         0,
         0,
         0},
        {"without times", {.timed = false}, trust_verdict::unjudged, unjudged_reason::untimed, 0, 0, 0},
    };
    for (const auto &c : cases)
    {
        SCOPED_TRACE(c.name);
        const trust t = judged(c.how);
        EXPECT_EQ(t.verdict, c.verdict) << words(t);
        EXPECT_EQ(t.reason, c.reason) << words(t);
        ASSERT_EQ(t.contradictions.size(), c.to > 0 ? 1u : 0u) << words(t);
        if (c.to == 0)
            continue;
        EXPECT_NEAR(t.contradictions[0].from, c.from, 1.0);
        EXPECT_NEAR(t.contradictions[0].to, c.to, 1.0);
        EXPECT_NEAR(t.wrong, c.to - c.from, 1.5);
        EXPECT_TRUE(std::isnan(c.by) || std::abs(t.contradictions[0].by - c.by) <= 1.0) << t.contradictions[0].by;
    }
}

TEST(Trust, SeesOffsetAndSoftIron)
{
    use how;
    how.offset = changed(30, LENGTH, STEP);
    how.stretch = {1.1, 1.0, 0.9};
    const trust t = judged(how);
    ASSERT_EQ(t.offsets.size(), 2u);
    EXPECT_NEAR(t.offsets[0].to, 30.0, 2.0);
    for (std::size_t i = 0; i < 2; ++i)
    {
        const Vector3d miss = Vector3d(t.offsets[i].centre.data()) - OFFSET - static_cast<double>(i) * STEP;
        EXPECT_LT(miss.norm(), t.offsets[i].error);
        EXPECT_LT(t.offsets[i].error, 2.0);
    }
    EXPECT_NEAR(t.soft_iron, 0.1, 0.02);
}

// The hour of silence was once said to be wrong, too, and a grade without a duration to have held.
TEST(Trust, JudgesOnlyWhatWasSeen)
{
    const auto judged_at = [](const std::function<double(int)> &time)
    {
        trust_judge judge;
        for (int i = 0; i < 1500; ++i)
        {
            const Vector3d field = RADIUS * use().direction(i / RATE) + OFFSET + (i < 500 ? Vector3d::Zero() : STEP);
            judge.add({time(i), {field.x(), field.y(), field.z()}, {100.0, -50.0, 200.0}, RADIUS, 3});
        }
        return judge.finish();
    };
    const trust with_silence = judged_at([](int i) { return i / RATE + (i < 1000 ? 0.0 : 3600.0); });
    ASSERT_EQ(with_silence.contradictions.size(), 2u) << words(with_silence);
    EXPECT_NEAR(with_silence.contradictions[0].to, 40.0, 1.0);
    EXPECT_NEAR(with_silence.contradictions[1].from, 3640.0, 1.0);
    EXPECT_NEAR(with_silence.graded, 60.0, 1.0);
    EXPECT_EQ(judged_at([](int) { return 0.0; }).reason, unjudged_reason::too_little);
}

// NaN has no place in an order: the median of such amounts was once NaN.
TEST(Trust, SurvivesNanAmongAmounts)
{
    trust_judge judge;
    for (int i = 0; i < 1500; ++i)
    {
        const Vector3d field = RADIUS * use().direction(i / RATE) + OFFSET;
        const double published = i % 3 == 0 ? std::nan("") : 107.0;
        judge.add({i / RATE, {field.x(), field.y(), field.z()}, {published, -50.0, 200.0}, RADIUS, 3});
    }
    const trust t = judge.finish();
    ASSERT_EQ(t.contradictions.size(), 1u);
    EXPECT_NEAR(t.contradictions[0].by, 7.0, 0.5);
}

// Numbers of a foreign file can be anything.
TEST(Trust, SurvivesAnyNumbers)
{
    const double inf = HUGE_VAL, nan = std::numeric_limits<double>::quiet_NaN(),
                 values[] = {0.0, nan, inf, -inf, 1e300, 1e5, -4.9e-324, 50.0};
    trust_judge judge;
    for (std::size_t i = 0; i < 4096; ++i)
    {
        const auto value = [&](std::size_t k) { return values[(i / 3 + k * (i % 5)) % std::size(values)]; };
        judge.add({static_cast<double>(i) / 10.0,
                   {value(1), value(2), value(3)},
                   {value(4), value(5), value(6)},
                   value(7),
                   static_cast<int>(i % 4)});
        judge.add(event{static_cast<std::int64_t>(i * 50'000'000), sensor::gyr, static_cast<float>(value(2)), 1.0f,
                        static_cast<float>(value(3))});
    }
    EXPECT_NO_THROW(json_of(judge.finish()).dump());
}
