#include "ui/scroll_bars.h"

#include "platform/window/windows.h"
#include "rects.h"
#include "ui/list_view.h"
#include "ui/theme.h"

#include <gtest/gtest.h>

namespace dm::ui {
namespace {

using test::edges;

TEST(ScrollBars, AreShapedByTheirThickness) {
    const struct {
        RECT bar;
        bool vertical;
        const char *thumb;
        int radius;
        POINT firstTip, lastTip;
        int reach;
    } cases[] = {
        {{100, 20, 117, 320}, true, "104,70,113,130", 8, {108, 27}, {108, 312}, 3},
        {{20, 300, 320, 317}, false, "70,304,130,313", 8, {27, 308}, {312, 308}, 3},
        {{0, 0, 10, 300}, true, "2,50,8,110", 5, {5, 7}, {5, 292}, 2},
        {{0, 0, 4, 300}, true, "2,50,2,110", 2, {2, 7}, {2, 292}, 2},
    };
    for (const auto &c : cases) {
        const ScrollBarShape shape = scrollBarShape(c.bar, c.vertical, 50, 110, 17);
        EXPECT_EQ(edges(shape.thumb), c.thumb);
        EXPECT_EQ(shape.thumbRadius, c.radius);
        EXPECT_EQ(shape.arrows[0].tip.x, c.firstTip.x) << c.thumb;
        EXPECT_EQ(shape.arrows[0].tip.y, c.firstTip.y) << c.thumb;
        EXPECT_EQ(shape.arrows[1].tip.x, c.lastTip.x) << c.thumb;
        EXPECT_EQ(shape.arrows[1].tip.y, c.lastTip.y) << c.thumb;
        for (const Chevron &arrow : shape.arrows) {
            for (const POINT &end : arrow.ends) {
                EXPECT_EQ(std::abs(end.x - arrow.tip.x), c.reach) << c.thumb;
                EXPECT_EQ(std::abs(end.y - arrow.tip.y), c.reach) << c.thumb;
            }
        }
        const int inwards =
            c.vertical ? shape.arrows[0].ends[0].y - c.firstTip.y : shape.arrows[0].ends[0].x - c.firstTip.x;
        EXPECT_GT(inwards, 0) << "the arrow at the start points out of the bar";
    }
}

class ScrollBarsOn : public test::WindowTest {
protected:
    ~ScrollBarsOn() override {
        isDark = highContrast = false;
        palette = {};
    }
};

TEST_F(ScrollBarsOn, AreDarkInTheDarkThemeAlone) {
    const test::TopWindow top;
    HWND edit = test::newControl(top, W("EDIT"), ES_MULTILINE | ES_AUTOVSCROLL | WS_VSCROLL, 1, {0, 0, 200, 150});
    SetWindowTextW(edit, (WString(200, W('\n')) + W("x")).c_str());
    subclassScrollBars(edit);
    palette = lookFor("dark", "teal", {}).palette;
    show(top);
    const struct {
        bool dark, contrast, themed;
    } cases[] = {{true, false, true}, {false, false, false}, {true, true, false}};
    for (const auto &[dark, contrast, themed] : cases) {
        isDark = dark;
        highContrast = contrast;
        const QImage image = test::widgetOf(edit)->grab().toImage();
        SCROLLBARINFO info = {};
        info.cbSize = sizeof info;
        ASSERT_TRUE(GetScrollBarInfo(edit, OBJID_VSCROLL, &info));
        RECT frame = {};
        GetWindowRect(edit, &frame);
        const RECT &bar = info.rcScrollBar;
        const int x = bar.left - frame.left;
        const int y = bar.top - frame.top;
        const int middle = (bar.right - bar.left) / 2;
        EXPECT_EQ(image.pixel(x, y + (bar.bottom - bar.top) / 2) == 0xFF000000, themed);
        EXPECT_EQ(image.pixel(x + middle, y + (info.xyThumbTop + info.xyThumbBottom) / 2) == palette.borderColor,
                  themed);
    }
}

} // namespace
} // namespace dm::ui
