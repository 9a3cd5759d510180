#include "ui/list_view.h"

#include "pixels.h"
#include "platform/window/windows.h"
#include "ui/theme.h"

#include <gtest/gtest.h>

namespace dm::ui {
namespace {

class ThemedList : public test::WindowTest {};

TEST_F(ThemedList, LetsItsOwnerDrawTheHeaderOnAGroundOfTheTheme) {
    HWND header = nullptr;
    int asked = 0;
    const test::TopWindow top([&](HWND, UINT message, WPARAM, LPARAM lParam) -> std::optional<LRESULT> {
        const auto *notice = message == WM_NOTIFY ? reinterpret_cast<const NMHDR *>(lParam) : nullptr;
        if (notice != nullptr && notice->code == NM_CUSTOMDRAW && notice->hwndFrom == header)
            ++asked;
        return std::nullopt;
    });
    HWND list = test::newControl(top, W("SysListView32"), LVS_REPORT | LVS_OWNERDATA, 1, {0, 0, 200, 150});
    LVCOLUMNW column = {};
    column.mask = LVCF_WIDTH;
    column.cx = 150;
    SendMessageW(list, LVM_INSERTCOLUMNW, 0, reinterpret_cast<LPARAM>(&column));
    header = reinterpret_cast<HWND>(SendMessageW(list, LVM_GETHEADER, 0, 0));
    show(top);
    test::widgetOf(top)->grab();
    EXPECT_EQ(asked, 0);
    subclassListView(list);
    test::widgetOf(top)->grab();
    EXPECT_GT(asked, 0);

    palette.fieldBackground = 0xFF123456;
    const test::Pixels pixels(10, 10);
    EXPECT_EQ(SendMessageW(header, WM_ERASEBKGND, reinterpret_cast<WPARAM>(pixels.dc), 0), 1);
    EXPECT_EQ(pixels.at(9, 9), 0x123456U);
    palette = {};
}

} // namespace
} // namespace dm::ui
