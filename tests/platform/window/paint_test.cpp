#include "windows.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QComboBox>
#include <QImage>

namespace dm::test {
namespace {

using std::vector;

class Paints : public WindowTest {
protected:
    vector<QRect> painted;
    int erased = 0;
    std::function<void(HWND, HDC)> whilePainting;
    TopWindow window{[this](HWND self, UINT message, WPARAM, LPARAM) -> std::optional<LRESULT> {
        if (message == WM_ERASEBKGND)
            return ++erased;
        if (message != WM_PAINT)
            return std::nullopt;
        PAINTSTRUCT paint;
        const HDC dc = BeginPaint(self, &paint);
        EXPECT_EQ(dc, paint.hdc);
        painted.push_back(platform::rectOf(paint.rcPaint));
        if (whilePainting)
            whilePainting(self, dc);
        EndPaint(self, &paint);
        return 0;
    }};

    vector<QRect> takePainted() { return std::exchange(painted, {}); }
    void showPainted() {
        show(window);
        runLoop();
        UpdateWindow(window);
        takePainted();
        erased = 0;
    }
};

void fill(HDC dc, QRect rect, COLORREF color) {
    const RECT area = platform::rectOf(rect);
    const HBRUSH brush = CreateSolidBrush(color);
    FillRect(dc, &area, brush);
    DeleteObject(brush);
}

TEST_F(Paints, OnlyWhatIsInvalidIsPaintedAndAtOnceIfAskedFor) {
    showPainted();
    UpdateWindow(window);
    EXPECT_EQ(takePainted(), vector<QRect>()) << "nothing is invalid";

    const RECT part = {10, 20, 40, 60};
    InvalidateRect(window, &part, FALSE);
    EXPECT_EQ(takePainted(), vector<QRect>()) << "not before it is time";
    UpdateWindow(window);
    EXPECT_EQ(takePainted(), vector<QRect>{QRect(10, 20, 30, 40)});
    runLoop();
    EXPECT_EQ(takePainted(), vector<QRect>()) << "once";
    EXPECT_EQ(erased, 0);
    InvalidateRect(window, &part, TRUE);
    runLoop();
    EXPECT_EQ(takePainted(), vector<QRect>{QRect(10, 20, 30, 40)});
    EXPECT_EQ(erased, 1);
    EXPECT_EQ(BeginPaint(window, std::make_unique<PAINTSTRUCT>().get()), nullptr);
}

TEST_F(Paints, APaintAskedForInAPaintFollowsItAndAWindowEndsInItsPaint) {
    showPainted();
    int depth = 0;
    whilePainting = [&](HWND self, HDC) {
        EXPECT_EQ(++depth, 1) << "one within the other";
        if (painted.size() == 1) {
            InvalidateRect(self, nullptr, FALSE);
            UpdateWindow(self);
        }
        --depth;
    };
    InvalidateRect(window, nullptr, FALSE);
    UpdateWindow(window);
    runLoop();
    EXPECT_EQ(takePainted().size(), 2U);

    whilePainting = [](HWND self, HDC) { DestroyWindow(self); };
    InvalidateRect(window, nullptr, FALSE);
    runLoop();
    EXPECT_EQ(IsWindow(window), FALSE);
}

TEST_F(Paints, WhatIsDrawnIsSeenUnderItsChildren) {
    whilePainting = [](HWND, HDC dc) { fill(dc, QRect(0, 0, 300, 200), RGB(255, 0, 0)); };
    const HWND button = newButton(window, 1);
    const auto drawing = [](HWND child, UINT message, WPARAM wParam, LPARAM lParam, UINT_PTR, DWORD_PTR) -> LRESULT {
        if (message != WM_PAINT)
            return DefSubclassProc(child, message, wParam, lParam);
        PAINTSTRUCT paint;
        fill(BeginPaint(child, &paint), QRect(0, 0, 50, 30), RGB(0, 0, 255));
        EndPaint(child, &paint);
        return 0;
    };
    SetWindowSubclass(button, drawing, 1, 0);
    showPainted();
    const QImage seen = widgetOf(window)->grab().toImage();
    EXPECT_EQ(seen.pixelColor(5, 5), QColor(255, 0, 0));
    EXPECT_EQ(seen.pixelColor(20, 20), QColor(0, 0, 255));
}

TEST_F(Paints, ALayerIsShownAsItIsAndLetsClicksThroughWhereItIsNothing) {
    const TopWindow layered(nullptr, nullptr, WS_EX_LAYERED | WS_EX_TOOLWINDOW, WS_POPUP);
    BITMAPINFO info = {};
    info.bmiHeader = {sizeof info.bmiHeader, 40, -30, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
    void *bits = nullptr;
    const HDC dc = CreateCompatibleDC(nullptr);
    const HBITMAP bitmap = CreateDIBSection(dc, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    const HGDIOBJ before = SelectObject(dc, bitmap);
    for (int i = 0; i < 40 * 30; ++i)
        static_cast<DWORD *>(bits)[i] = i % 40 < 20 ? 0x33000033U : 0; // premultiplied: a fifth of blue
    SIZE size = {40, 30};
    POINT origin = {0, 0};
    BLENDFUNCTION blend = {AC_SRC_OVER, 0, 255, AC_SRC_ALPHA};
    ASSERT_NE(UpdateLayeredWindow(layered, nullptr, nullptr, &size, dc, &origin, 0, &blend, ULW_ALPHA), FALSE);
    ShowWindow(layered, SW_SHOWNOACTIVATE);
    EXPECT_EQ(widgetOf(layered)->grab().toImage().convertToFormat(QImage::Format_ARGB32_Premultiplied).pixel(5, 5),
              0x33000033U);
    EXPECT_EQ(widgetOf(layered)->mask().boundingRect(), QRect(0, 0, 20, 30));
    RECT rect;
    GetClientRect(layered, &rect);
    EXPECT_EQ(rect.right, 40);
    SelectObject(dc, before);
    DeleteObject(bitmap);
    DeleteDC(dc);
}

/// Colours and items that a parent gives its controls.
struct Giver {
    HBRUSH brush = CreateSolidBrush(RGB(1, 2, 3));
    UINT wanted;
    vector<UINT> itemStates;

    std::optional<LRESULT> operator()(HWND, UINT message, WPARAM wParam, LPARAM lParam) {
        if (message == wanted) {
            SetTextColor(reinterpret_cast<HDC>(wParam), RGB(200, 100, 50));
            return reinterpret_cast<LRESULT>(brush);
        }
        if (message == WM_MEASUREITEM) {
            reinterpret_cast<MEASUREITEMSTRUCT *>(lParam)->itemHeight = 30;
            return TRUE;
        }
        if (message == WM_DRAWITEM) {
            const auto &item = *reinterpret_cast<const DRAWITEMSTRUCT *>(lParam);
            EXPECT_EQ(item.CtlType, UINT{ODT_COMBOBOX});
            itemStates.push_back(item.itemState);
            fill(item.hDC, platform::rectOf(item.rcItem), RGB(0, 255, 0));
            return TRUE;
        }
        return std::nullopt;
    }
};

TEST_F(Paints, ControlsTakeTheirParentsColors) {
    const struct {
        LPCWSTR name;
        DWORD style;
        UINT message;
    } cases[] = {
        {W("EDIT"), 0, WM_CTLCOLOREDIT},
        {W("EDIT"), ES_READONLY, WM_CTLCOLORSTATIC},
        {W("EDIT"), ES_READONLY | ES_MULTILINE, WM_CTLCOLORSTATIC},
        {W("COMBOBOX"), CBS_DROPDOWN, WM_CTLCOLOREDIT},
    };
    for (const auto &each : cases) {
        Giver giver = {.wanted = each.message, .itemStates = {}};
        const TopWindow parent(std::ref(giver));
        const HWND control = newControl(parent, each.name, each.style, 1);
        show(parent);
        runLoop();
        UpdateWindow(control);
        EXPECT_EQ(widgetOf(control)->palette().color(QPalette::Text), QColor(200, 100, 50)) << &each - cases;
        EXPECT_EQ(widgetOf(control)->palette().color(QPalette::Base), QColor(1, 2, 3)) << &each - cases;
        DeleteObject(giver.brush);
    }
}

TEST_F(Paints, AParentDrawsTheItemsOfAList) {
    Giver giver = {.wanted = WM_CTLCOLORLISTBOX, .itemStates = {}};
    const TopWindow parent(std::ref(giver));
    const HWND list = newControl(parent, W("COMBOBOX"), CBS_DROPDOWNLIST | CBS_OWNERDRAWFIXED | CBS_HASSTRINGS, 1,
                                 {10, 10, 150, 300});
    for (const LPCWSTR text : {W("a"), W("b")})
        SendMessageW(list, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(text));
    show(parent);
    SetFocus(list);
    runLoop();
    EXPECT_EQ(widgetOf(list)->height(), 36);
    EXPECT_EQ(giver.itemStates.back(), UINT{ODS_COMBOBOXEDIT | ODS_FOCUS | ODS_SELECTED});
    EXPECT_EQ(widgetOf(list)->grab().toImage().pixelColor(20, 18), QColor(0, 255, 0));
    giver.itemStates.clear();
    auto &box = *qobject_cast<QComboBox *>(widgetOf(list));
    box.showPopup();
    runLoop();
    EXPECT_EQ(std::count(giver.itemStates.begin(), giver.itemStates.end(), 0U), 2);
    EXPECT_EQ(box.view()->visualRect(box.model()->index(1, 0)).height(), 30);
    EXPECT_EQ(box.view()->palette().color(QPalette::Base), QColor(1, 2, 3));
    box.hidePopup();
    DeleteObject(giver.brush);
}

} // namespace
} // namespace dm::test
