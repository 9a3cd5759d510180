#include "ui/animation.h"

#include <gtest/gtest.h>

namespace dm::ui {
namespace {

TEST(Animation, GaugeEasesFromStartToEnd) {
    const Gauge gauge = {.from = 0.2, .to = 1.0, .start = 1000, .duration = 300};
    const std::pair<std::uint64_t, double> cases[] = {
        {0, 0.2}, {1000, 0.2}, {1075, 0.2 + 0.8 * 0.15625}, {1150, 0.6}, {1300, 1.0}, {99999, 1.0},
    };
    for (const auto &[now, value] : cases)
        EXPECT_DOUBLE_EQ(gaugeAt(gauge, now), value) << now;
}

TEST(Animation, GaugeTurnsFromWhereItIs) {
    Gauge gauge;
    aimGauge(gauge, 1, 1000, false);
    EXPECT_EQ(gauge.duration, 300U);
    aimGauge(gauge, 1, 1100, false);
    EXPECT_EQ(gauge.start, 1000U) << "the same target goes on";

    aimGauge(gauge, 0, 1150, false);
    EXPECT_DOUBLE_EQ(gaugeAt(gauge, 1150), 0.5);
    EXPECT_DOUBLE_EQ(gaugeAt(gauge, 1450), 0);

    Gauge there = {.from = 0.5, .to = 1, .start = 1000, .duration = 300};
    aimGauge(there, 0.5, 1000, false);
    EXPECT_EQ(there.duration, 0U) << "it is there already";
    EXPECT_EQ(gaugeAt(there, 1000), 0.5);

    aimGauge(gauge, 0.25, 1200, true);
    EXPECT_EQ(gaugeAt(gauge, 1200), 0.25);
}

/// The number of steps until nothing changes; the value has come nearer with each.
template <typename Step>
int stepsUntilStill(float &value, float target, Step step) {
    for (int steps = 0;; ++steps) {
        const float before = value;
        if (!step())
            return steps;
        EXPECT_LT(std::abs(target - value), std::abs(target - before));
    }
}

TEST(Animation, LevelsAndProgressLandOnTheirTargets) {
    const std::pair<float, float> ways[] = {{0, 1}, {1, 0}, {0.3F, 0.7F}, {0.5F, 0.5F}};
    for (const auto &way : ways) {
        const float from = way.first;
        const float to = way.second;
        const bool moves = from != to;
        float level = from;
        const int steps = stepsUntilStill(level, to, [&] { return stepLevel(level, to, false); });
        EXPECT_EQ(level, to);
        EXPECT_TRUE(moves ? steps > 10 && steps < 20 : steps == 0) << steps;

        float progress = from;
        const int reports = stepsUntilStill(progress, to, [&] { return stepProgress(progress, to, false); });
        EXPECT_EQ(progress, to);
        EXPECT_TRUE(moves ? reports > 20 && reports < 40 : reports == 0) << reports;

        level = progress = from;
        EXPECT_EQ(stepLevel(level, to, true), moves);
        EXPECT_EQ(stepProgress(progress, to, true), moves);
        EXPECT_EQ(level, to);
        EXPECT_EQ(progress, to);
    }
}

} // namespace
} // namespace dm::ui
