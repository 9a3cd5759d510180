#include "ui/scroll_bars.h"

#include "platform/window/windows.h"
#include "rects.h"
#include "ui/list_view.h"
#include "ui/theme.h"

#include <gtest/gtest.h>

namespace dm::ui {
namespace {

using test::edges;

TEST(ScrollBars, KeepTheirShapeWithinThemselves) {
    const struct {
        RECT bar;
        bool vertical;
        const char *thumb;
    } cases[] = {
        {{100, 20, 117, 320}, true, "104,70,113,130"},
        {{20, 300, 320, 317}, false, "70,304,130,313"},
        {{0, 0, 10, 300}, true, "2,50,8,110"},
    };
    for (const auto &[bar, vertical, thumb] : cases) {
        const ScrollBarShape shape = scrollBarShape(bar, vertical, 50, 110, 17);
        EXPECT_EQ(edges(shape.thumb), thumb);
        for (const Chevron &arrow : shape.arrows) {
            for (const POINT &point : {arrow.tip, arrow.ends[0], arrow.ends[1]})
                EXPECT_TRUE(platform::rectOf(bar).contains(point.x, point.y))
                    << thumb << ' ' << point.x << ' ' << point.y;
        }
        const auto along = [vertical = vertical](POINT point) { return vertical ? point.y : point.x; };
        EXPECT_LT(along(shape.arrows[0].tip), along(shape.arrows[0].ends[0])) << "out of the bar";
        EXPECT_GT(along(shape.arrows[1].tip), along(shape.arrows[1].ends[0])) << "and out of its other end";
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
