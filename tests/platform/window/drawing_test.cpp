#include "pixels.h"
#include "rects.h"

#include <gtest/gtest.h>

#include <QPainter>

#include <algorithm>
#include <functional>
#include <limits>
#include <vector>

namespace dm {

namespace {

using platform::PaintDc;
using test::bitmapInfo;
using test::edges;
using test::Pixels;

HBRUSH contextBrush() {
    return static_cast<HBRUSH>(GetStockObject(DC_BRUSH));
}

void fill(HDC dc, const RECT &rect, COLORREF color) {
    SetDCBrushColor(dc, color);
    EXPECT_EQ(FillRect(dc, &rect, contextBrush()), 1);
}

TEST(Drawing, BitmapsGoFromTheTopDown) {
    const Pixels pixels(4, 3);
    fill(pixels.dc, {1, 1, 3, 2}, RGB(0x11, 0x22, 0x33));
    EXPECT_EQ(pixels.bits[1 * 4 + 2] & 0xFFFFFF, 0x112233U);
    BITMAPINFO upwards = bitmapInfo(4, 3);
    void *bits = &upwards;
    EXPECT_EQ(CreateDIBSection(nullptr, &upwards, DIB_RGB_COLORS, &bits, nullptr, 0), nullptr);
    EXPECT_EQ(bits, nullptr);
}

TEST(Drawing, SelectingGivesBackWhatWasThere) {
    Pixels pixels(4, 4);
    HDC other = CreateCompatibleDC(pixels.dc);
    EXPECT_EQ(SelectObject(other, pixels.bitmap), nullptr) << "another context holds it";
    EXPECT_EQ(DeleteObject(pixels.bitmap), FALSE);

    HBRUSH brush = CreateSolidBrush(RGB(1, 2, 3));
    HGDIOBJ before = SelectObject(other, brush);
    EXPECT_EQ(before, contextBrush());
    SaveDC(other);
    EXPECT_EQ(SelectObject(other, before), brush);
    EXPECT_EQ(DeleteObject(brush), FALSE) << "a saved state holds it";
    RestoreDC(other, -1);
    EXPECT_EQ(SelectObject(other, before), brush);
    EXPECT_NE(DeleteObject(brush), FALSE);
    EXPECT_EQ(SelectObject(other, brush), nullptr) << "it is gone";

    fill(other, {0, 0, 4, 4}, RGB(9, 9, 9));
    EXPECT_NE(DeleteDC(other), FALSE);
    EXPECT_EQ(DeleteDC(other), FALSE);
}

TEST(Drawing, StatesAreSavedAndRestored) {
    Pixels pixels(10, 10);
    EXPECT_EQ(SaveDC(pixels.dc), 1);
    IntersectClipRect(pixels.dc, 2, 2, 8, 8);
    SetTextColor(pixels.dc, RGB(1, 1, 1));
    EXPECT_EQ(SaveDC(pixels.dc), 2);
    EXPECT_EQ(IntersectClipRect(pixels.dc, 5, 0, 20, 5), SIMPLEREGION);
    fill(pixels.dc, {0, 0, 10, 10}, RGB(0, 0, 255));
    EXPECT_EQ(edges(pixels.inkOn(0)), "5,2,8,5");
    EXPECT_EQ(IntersectClipRect(pixels.dc, 0, 0, 1, 1), NULLREGION);

    EXPECT_EQ(RestoreDC(pixels.dc, 3), FALSE);
    EXPECT_NE(RestoreDC(pixels.dc, 1), FALSE);
    EXPECT_EQ(RestoreDC(pixels.dc, -1), FALSE) << "both are taken off";
    RECT box = {};
    GetClipBox(pixels.dc, &box);
    EXPECT_EQ(edges(box), "0,0,10,10");
    EXPECT_EQ(SetTextColor(pixels.dc, 0), static_cast<COLORREF>(RGB(0, 0, 0)));
}

TEST(Drawing, BlockCopiesTakeWhatTheSourceHas) {
    struct {
        const char *what;
        int x, y, width, height, fromX, fromY;
        RECT copied;
    } const cases[] = {
        {"inside", 1, 1, 3, 2, 2, 2, {1, 1, 4, 3}},
        {"beyond the source's end", 0, 0, 9, 9, 4, 5, {0, 0, 2, 1}},
        {"before the source's start", 2, 3, 5, 5, -2, -1, {4, 4, 7, 8}},
        {"beyond the target", 6, 6, 6, 6, 0, 0, {6, 6, 8, 8}},
        {"of no size", 0, 0, 0, 4, 0, 0, {8, 8, 0, 0}},
    };
    Pixels source(6, 6);
    source.fill(0xAABBCC);
    for (const auto &[what, x, y, width, height, fromX, fromY, copied] : cases) {
        Pixels target(8, 8);
        EXPECT_NE(BitBlt(target.dc, x, y, width, height, source.dc, fromX, fromY, SRCCOPY), FALSE) << what;
        EXPECT_EQ(edges(target.inkOn(0)), edges(copied)) << what;
    }
    fill(source.dc, {0, 0, 1, 6}, RGB(1, 2, 3));
    BitBlt(source.dc, 1, 0, 5, 6, source.dc, 0, 0, SRCCOPY);
    EXPECT_EQ(source.at(1, 3), 0x010203U);
    EXPECT_EQ(source.at(2, 3), 0xAABBCCU) << "a copy within one picture is of what was there before";
}

TEST(Drawing, PensDrawUpToTheirEnd) {
    Pixels pixels(12, 12);
    HPEN pen = CreatePen(PS_SOLID, 1, RGB(0, 0, 255));
    HGDIOBJ before = SelectObject(pixels.dc, pen);
    MoveToEx(pixels.dc, 2, 3, nullptr);
    LineTo(pixels.dc, 7, 3);
    EXPECT_EQ(edges(pixels.inkOn(0)), "2,3,7,4");
    Pixels round(12, 12);
    SelectObject(round.dc, GetStockObject(NULL_PEN));
    SetDCBrushColor(round.dc, RGB(0, 255, 0));
    EXPECT_NE(RoundRect(round.dc, 1, 2, 11, 8, 6, 6), FALSE);
    EXPECT_EQ(edges(round.inkOn(0)), "1,2,10,7");
    EXPECT_EQ(round.at(1, 2), 0U) << "the corner is round";
    SelectObject(round.dc, pen);
    round.fill(0);
    RoundRect(round.dc, 1, 2, 11, 8, 6, 6);
    EXPECT_EQ(edges(round.inkOn(0)), "1,2,11,8");
    SelectObject(pixels.dc, before);
    SelectObject(round.dc, before);
    EXPECT_NE(DeleteObject(pen), FALSE);
}

TEST(Drawing, FocusFrameIsTakenAwayByASecond) {
    Pixels pixels(12, 12);
    pixels.fill(0x336699);
    const RECT rect = {2, 2, 10, 8};
    DrawFocusRect(pixels.dc, &rect);
    EXPECT_EQ(edges(pixels.inkOn(0x336699)), edges(rect));
    EXPECT_NE(pixels.at(4, 2) == 0x336699, pixels.at(5, 2) == 0x336699) << "every second pixel";
    DrawFocusRect(pixels.dc, &rect);
    EXPECT_EQ(pixels.inkOn(0x336699).right, 0);
}

TEST(Drawing, HandedOutContextDrawsWithinItsClip) {
    QImage image(20, 10, QImage::Format_RGB32);
    image.fill(0);
    {
        const PaintDc paint(image, QRect(5, 5, 100, 2));
        RECT box = {};
        EXPECT_EQ(GetClipBox(paint.get(), &box), SIMPLEREGION);
        EXPECT_EQ(edges(box), "5,5,20,7");
        EXPECT_EQ(DeleteDC(paint.get()), FALSE) << "it is not the program's";
        fill(paint.get(), {0, 0, 20, 10}, RGB(255, 0, 0));
    }
    EXPECT_EQ(image.pixel(19, 6), 0xFFFF0000);
    EXPECT_EQ(image.pixel(4, 5) & 0xFFFFFF, 0U);

    QPainter painter(&image);
    painter.translate(10, 0);
    painter.setClipRect(0, 0, 5, 10);
    {
        const PaintDc paint(painter, QRect(-10, 0, 20, 1));
        fill(paint.get(), {-10, 0, 20, 10}, RGB(0, 255, 0));
    }
    EXPECT_EQ(image.pixel(9, 0) & 0xFFFFFF, 0U) << "the painter's own clip holds";
    EXPECT_EQ(image.pixel(10, 0), 0xFF00FF00);
    EXPECT_EQ(image.pixel(10, 1) & 0xFFFFFF, 0U);
    painter.fillRect(0, 9, 20, 1, Qt::blue);
    EXPECT_EQ(image.pixel(10, 9), 0xFF0000FF) << "and is there again";
    EXPECT_EQ(image.pixel(15, 9) & 0xFFFFFF, 0U);
}

TEST(Drawing, WhatIsNoHandleFails) {
    HDC gone = CreateCompatibleDC(nullptr);
    DeleteDC(gone);
    HBRUSH brush = CreateSolidBrush(0);
    Pixels pixels(2, 2);
    RECT rect = {0, 0, 1, 1};
    for (HDC dc : {static_cast<HDC>(nullptr), gone, reinterpret_cast<HDC>(brush)}) {
        EXPECT_EQ(SaveDC(dc) + GetClipBox(dc, &rect) + FillRect(dc, &rect, brush), 0);
        EXPECT_EQ(SelectObject(dc, brush), nullptr);
        EXPECT_EQ(BitBlt(pixels.dc, 0, 0, 1, 1, dc, 0, 0, SRCCOPY), FALSE);
        EXPECT_EQ(DrawTextW(dc, W("a"), 1, &rect, DT_NOPREFIX), 0);
        Gdiplus::GpGraphics *graphics = nullptr;
        EXPECT_EQ(Gdiplus::DllExports::GdipCreateFromHDC(dc, &graphics), Gdiplus::InvalidParameter);
    }
    EXPECT_EQ(FillRect(pixels.dc, &rect, reinterpret_cast<HBRUSH>(pixels.bitmap)), 0) << "no brush";
    DeleteObject(brush);
}

class FlatDrawing : public test::DrawingTest {
protected:
    using Draw = std::function<void(Gdiplus::GpGraphics *, Gdiplus::GpPen *, Gdiplus::GpBrush *)>;
    static void paint(const Pixels &pixels, Gdiplus::ARGB color, const Draw &draw) {
        using namespace Gdiplus::DllExports;
        Gdiplus::GpGraphics *graphics = nullptr;
        Gdiplus::GpPen *pen = nullptr;
        Gdiplus::GpSolidFill *brush = nullptr;
        ASSERT_EQ(GdipCreateFromHDC(pixels.dc, &graphics), Gdiplus::Ok);
        ASSERT_EQ(GdipSetSmoothingMode(graphics, Gdiplus::SmoothingModeAntiAlias), Gdiplus::Ok);
        ASSERT_EQ(GdipCreatePen1(color, 1, Gdiplus::UnitWorld, &pen), Gdiplus::Ok);
        ASSERT_EQ(GdipCreateSolidFill(color, &brush), Gdiplus::Ok);
        draw(graphics, pen, brush);
        EXPECT_EQ(GdipFlush(graphics, Gdiplus::FlushIntentionSync), Gdiplus::Ok);
        GdipDeleteBrush(brush);
        GdipDeletePen(pen);
        GdipDeleteGraphics(graphics);
    }
};

using namespace Gdiplus::DllExports;

TEST_F(FlatDrawing, BlendsWithinTheClipOfItsStart) {
    Pixels pixels(10, 10);
    IntersectClipRect(pixels.dc, 0, 0, 10, 5);
    paint(pixels, 0x80FF0000, [&](auto *graphics, auto *, auto *brush) {
        IntersectClipRect(pixels.dc, 0, 0, 1, 1);
        GdipFillEllipse(graphics, brush, -20, -20, 60, 60);
    });
    EXPECT_NEAR(pixels.at(9, 4) >> 16, 0x80, 1);
    EXPECT_EQ(pixels.at(9, 4) & 0xFFFF, 0U);
    EXPECT_EQ(pixels.at(0, 5), 0U);
    fill(pixels.dc, {0, 0, 10, 10}, RGB(0, 0, 1));
    EXPECT_EQ(pixels.at(0, 0), 1U) << "fills are not blended";
    EXPECT_EQ(pixels.at(1, 0) & 0xFF, 0U) << "and keep to the clip of now";
}

TEST_F(FlatDrawing, DottedPensLeaveGaps) {
    Pixels pixels(20, 3);
    paint(pixels, 0xFFFFFFFF, [](auto *graphics, auto *pen, auto *) {
        EXPECT_EQ(GdipSetPenDashStyle(pen, Gdiplus::DashStyleDot), Gdiplus::Ok);
        GdipDrawLine(graphics, pen, -0.5F, 1, 19.5F, 1);
    });
    EXPECT_EQ(pixels.at(0, 1), 0xFFFFFFU);
    EXPECT_EQ(pixels.at(1, 1), 0U);
    EXPECT_EQ(pixels.at(2, 1), 0xFFFFFFU);
}

TEST_F(FlatDrawing, AnswersWhatMakesNoSense) {
    Gdiplus::GpGraphics *graphics = nullptr;
    HDC dc = CreateCompatibleDC(nullptr);
    ASSERT_EQ(GdipCreateFromHDC(dc, &graphics), Gdiplus::Ok);
    Gdiplus::GpPen *pen = nullptr;
    ASSERT_EQ(GdipCreatePen1(0xFF000000, 1, Gdiplus::UnitWorld, &pen), Gdiplus::Ok);
    EXPECT_EQ(GdipDrawLine(graphics, pen, 0, 0, std::numeric_limits<float>::quiet_NaN(), 1), Gdiplus::InvalidParameter);
    DeleteDC(dc);
    EXPECT_EQ(GdipDrawLine(graphics, pen, 0, 0, 1, 1), Gdiplus::InvalidParameter) << "its context is gone";
    GdipDeletePen(pen);
    GdipDeleteGraphics(graphics);
    Gdiplus::GpFontFamily *family = nullptr;
    EXPECT_EQ(GdipCreateFontFamilyFromName(W("No Such Family"), nullptr, &family), Gdiplus::FontFamilyNotFound);
    EXPECT_EQ(family, nullptr);
}

class Texts : public test::DrawingTest {
protected:
    Texts() : font(makeFont(-20)), before_(SelectObject(measure.dc, font)) {}
    ~Texts() override {
        SelectObject(measure.dc, before_);
        EXPECT_NE(DeleteObject(font), FALSE);
    }

    static HFONT makeFont(int height) {
        return CreateFontW(height, 0, 0, 0, FW_NORMAL, FALSE, FALSE, FALSE, DEFAULT_CHARSET, OUT_DEFAULT_PRECIS,
                           CLIP_DEFAULT_PRECIS, ANTIALIASED_QUALITY, DEFAULT_PITCH | FF_DONTCARE, W("Segoe UI"));
    }
    SIZE size(const WString &text, UINT format, int width = 1000) {
        RECT rect = {0, 0, width, 0};
        const int height = DrawTextW(measure.dc, text.c_str(), -1, &rect, format | DT_CALCRECT | DT_NOPREFIX);
        EXPECT_EQ(height, rect.bottom);
        return {rect.right, rect.bottom};
    }
    /// The ink of a text that is drawn in black on white in a box.
    RECT ink(const WString &text, UINT format, RECT box) {
        const Pixels pixels(400, 120);
        std::fill_n(pixels.bits, 400 * 120, 0xFFFFFF);
        HGDIOBJ before = SelectObject(pixels.dc, font);
        SetBkMode(pixels.dc, TRANSPARENT);
        DrawTextW(pixels.dc, text.c_str(), static_cast<int>(text.size()), &box, format | DT_NOPREFIX);
        SelectObject(pixels.dc, before);
        return pixels.inkOn(0xFFFFFF);
    }

    Pixels measure = Pixels(1, 1);
    HFONT font;

private:
    HGDIOBJ before_;
};

TEST_F(Texts, MeasuresLines) {
    const SIZE line = size(W("one two three"), DT_SINGLELINE);
    EXPECT_GT(line.cx, 80);
    EXPECT_NEAR(line.cy, 27, 1);
    EXPECT_EQ(size(W("one\r\ntwo\nthree"), DT_WORDBREAK).cy, 3 * line.cy);
    EXPECT_EQ(size(W("one\ntwo"), DT_SINGLELINE).cy, line.cy);
    EXPECT_EQ(size(W("one two three"), DT_WORDBREAK, line.cx - 1).cy, 2 * line.cy);
    EXPECT_EQ(size(W("one two three"), DT_WORDBREAK, 1).cy, 3 * line.cy);
    EXPECT_EQ(size(W("one two three"), DT_WORDBREAK, 1).cx, size(W("three"), DT_SINGLELINE).cx)
        << "a word is not broken, and the box grows";
    EXPECT_EQ(size(W("one\n"), DT_WORDBREAK).cy, line.cy);
    EXPECT_EQ(size(W("一二三四"), DT_WORDBREAK, 45).cy, 2 * line.cy) << "there are no blanks between the words";
    EXPECT_EQ(size(W("ประวัติและรหัสผ่าน"), DT_WORDBREAK, 100).cy, 2 * line.cy) << "nor here: a dictionary knows them";
    EXPECT_GT(size(W("& a"), DT_SINGLELINE).cx, size(W(" a"), DT_SINGLELINE).cx);
    EXPECT_EQ(size(W("文件"), DT_SINGLELINE).cy, line.cy) << "whatever fonts the characters come from";
}

TEST_F(Texts, AlignsWhatItDraws) {
    const RECT box = {100, 40, 300, 100};
    const WString text = W("HH");
    const SIZE extent = size(text, DT_SINGLELINE);
    const RECT left = ink(text, DT_SINGLELINE, box);
    const RECT center = ink(text, DT_SINGLELINE | DT_CENTER, box);
    const RECT right = ink(text, DT_SINGLELINE | DT_RIGHT, box);
    EXPECT_NEAR(left.left, 102, 2);
    EXPECT_EQ(center.left - left.left, (200 - extent.cx) / 2);
    EXPECT_EQ(right.left - left.left, 200 - extent.cx);
    EXPECT_EQ(edges(ink(text, DT_SINGLELINE | DT_RTLREADING, box)), edges(left)) << "sides are sides in both readings";
    EXPECT_EQ(edges(ink(text, DT_SINGLELINE | DT_RIGHT | DT_RTLREADING, box)), edges(right));

    EXPECT_EQ(ink(text, DT_SINGLELINE | DT_VCENTER, box).top - left.top, (60 - extent.cy) / 2);
}

TEST_F(Texts, ReadsFromRightToLeft) {
    const RECT box = {0, 0, 400, 60};
    const RECT full = ink(W("abc"), DT_SINGLELINE | DT_RIGHT | DT_RTLREADING, box);
    const RECT dotted = ink(W("abc!"), DT_SINGLELINE | DT_RIGHT | DT_RTLREADING, box);
    const RECT plain = ink(W("abc!"), DT_SINGLELINE | DT_RIGHT, box);
    EXPECT_EQ(full.right, dotted.right) << "the mark stands to the left of the letters";
    EXPECT_LT(plain.left, full.left);
    EXPECT_LT(dotted.left, full.left);
}

TEST_F(Texts, EndsInAnEllipsisWhereRoomEnds) {
    const WString text = W("alpha beta gamma delta epsilon zeta");
    const SIZE line = size(text, DT_SINGLELINE);
    const RECT narrow = {0, 0, 150, line.cy};
    EXPECT_LE(ink(text, DT_SINGLELINE | DT_END_ELLIPSIS, narrow).right, 150);
    const RECT exact = {0, 0, line.cx, line.cy};
    EXPECT_EQ(edges(ink(text, DT_SINGLELINE | DT_END_ELLIPSIS, exact)), edges(ink(text, DT_SINGLELINE, exact)))
        << "what fits exactly is whole";

    const auto lines = [&](LONG height) {
        return ink(text, DT_WORDBREAK | DT_END_ELLIPSIS, {0, 0, 150, height}).bottom;
    };
    EXPECT_LE(lines(line.cy * 2 + line.cy / 2), line.cy * 2) << "a line that would be cut is not begun";
    EXPECT_GT(lines(line.cy * 2 + line.cy / 2), line.cy);
    EXPECT_GT(lines(line.cy * 2 - 2), line.cy) << "but for a pixel or two";
    EXPECT_GT(lines(12), 0) << "but one line is always drawn";
    // Only the end of the text gets an ellipsis: a word that is too long on the way there is cut.
    const RECT cut = ink(W("Donaudampfschiff I"), DT_WORDBREAK | DT_END_ELLIPSIS, {0, 0, 60, 2 * line.cy});
    EXPECT_EQ(cut.right, 60);
}

TEST_F(Texts, DrawsInTheSelectedColours) {
    const Pixels pixels(60, 40);
    HGDIOBJ before = SelectObject(pixels.dc, font);
    SetTextColor(pixels.dc, RGB(0x10, 0x20, 0x30));
    SetBkColor(pixels.dc, RGB(0x40, 0x50, 0x60));
    RECT box = {0, 0, 60, 40};
    DrawTextW(pixels.dc, W("HHH"), 3, &box, DT_SINGLELINE | DT_NOPREFIX);
    const auto count = [&pixels](std::uint32_t color) {
        return std::count_if(pixels.bits, pixels.bits + 60 * 40,
                             [color](auto bits) { return (bits & 0xFFFFFF) == color; });
    };
    EXPECT_GT(count(0x102030), 50);
    EXPECT_GT(count(0x405060), 200) << "opaque, as it starts";
    SelectObject(pixels.dc, before);
}

} // namespace

} // namespace dm
