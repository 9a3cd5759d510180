#include "windows/main_window.h"

#include "rects.h"

#include <gtest/gtest.h>

namespace dm {
namespace {

TEST(MainWindow, OpensInItsSizeOrInWhatTheWorkAreaHas) {
    struct Case {
        RECT workArea;
        float scale;
        int width, height;
    };
    constexpr Case cases[] = {
        {{0, 0, 1920, 1040}, 1.0F, 1300, 850},      {{0, 40, 1366, 768}, 1.0F, 1300, 704}, // too low
        {{100, 0, 1124, 2000}, 1.0F, 1000, 850},                                           // too narrow
        {{-1920, -100, 0, 980}, 1.25F, 1625, 1056},                                        // left of the main screen
        {{0, 0, 4000, 4000}, 1.0049F, 1306, 854}, // 1306.37 and 854.165 are cut after a half is added
        {{0, 0, 3840, 2160}, 2.0F, 2600, 1700},
    };
    for (const Case &each : cases) {
        const SIZE size = mainWindowSize(each.workArea, each.scale);
        EXPECT_EQ(size.cx, each.width);
        EXPECT_EQ(size.cy, each.height);
    }
}

TEST(MainWindow, IsCutToTheWorkAreaAndMovedInside) {
    constexpr RECT area = {100, 50, 1100, 850};
    struct Case {
        RECT suggested, expected;
    };
    constexpr Case cases[] = {
        {{200, 100, 700, 500}, {200, 100, 700, 500}}, // as it is
        {{-300, 20, 200, 420}, {100, 50, 600, 450}},
        {{900, 700, 1400, 1100}, {600, 450, 1100, 850}},
        {{0, 0, 3000, 2000}, {100, 50, 1100, 850}},
    };
    for (const auto &[suggested, expected] : cases) {
        EXPECT_EQ(test::edges(fitInto(suggested, area)), test::edges(expected));
    }
}

} // namespace
} // namespace dm
