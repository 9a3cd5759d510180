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

TEST(Drawing, BitmapIsItsBitsFromTheTopDown) {
    Pixels pixels(4, 3);
    fill(pixels.dc, {1, 1, 3, 2}, RGB(0x11, 0x22, 0x33));
    EXPECT_EQ(edges(pixels.inkOn(0)), "1,1,3,2");
    EXPECT_EQ(pixels.at(2, 1), 0x112233U);

    BITMAP bitmap = {};
    EXPECT_EQ(GetObjectW(pixels.bitmap, sizeof(bitmap), &bitmap), static_cast<int>(sizeof(bitmap)));
    EXPECT_EQ(bitmap.bmBits, pixels.bits);
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
    EXPECT_NE(DeleteObject(contextBrush()), FALSE) << "stock objects stay";
    EXPECT_NE(contextBrush(), nullptr);
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
    EXPECT_EQ(BitBlt(source.dc, 0, 0, 1, 1, source.dc, 0, 0, 0x00550009), FALSE) << "another operation";

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
    EXPECT_EQ(image.pixel(5, 5), 0xFFFF0000);
    EXPECT_EQ(image.pixel(19, 6), 0xFFFF0000);
    EXPECT_EQ(image.pixel(4, 5) & 0xFFFFFF, 0U);
    EXPECT_EQ(image.pixel(5, 7) & 0xFFFFFF, 0U);

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
    /// What a drawing in white leaves on black.
    using Draw = std::function<void(Gdiplus::GpGraphics *, Gdiplus::GpPen *, Gdiplus::GpBrush *)>;
    static void paint(const Pixels &pixels, float scale, float penWidth, Gdiplus::ARGB color, const Draw &draw) {
        using namespace Gdiplus::DllExports;
        Gdiplus::GpGraphics *graphics = nullptr;
        Gdiplus::GpPen *pen = nullptr;
        Gdiplus::GpSolidFill *brush = nullptr;
        ASSERT_EQ(GdipCreateFromHDC(pixels.dc, &graphics), Gdiplus::Ok);
        ASSERT_EQ(GdipScaleWorldTransform(graphics, scale, scale, Gdiplus::MatrixOrderPrepend), Gdiplus::Ok);
        ASSERT_EQ(GdipSetSmoothingMode(graphics, Gdiplus::SmoothingModeAntiAlias), Gdiplus::Ok);
        ASSERT_EQ(GdipCreatePen1(color, penWidth, Gdiplus::UnitWorld, &pen), Gdiplus::Ok);
        ASSERT_EQ(GdipCreateSolidFill(color, &brush), Gdiplus::Ok);
        draw(graphics, pen, brush);
        EXPECT_EQ(GdipFlush(graphics, Gdiplus::FlushIntentionSync), Gdiplus::Ok);
        GdipDeleteBrush(brush);
        GdipDeletePen(pen);
        GdipDeleteGraphics(graphics);
    }
};

using namespace Gdiplus::DllExports;

TEST_F(FlatDrawing, CoversThePixelsThatItShould) {
    const auto roundCaps = [](Gdiplus::GpPen *pen) {
        GdipSetPenStartCap(pen, Gdiplus::LineCapRound);
        GdipSetPenEndCap(pen, Gdiplus::LineCapRound);
    };
    struct {
        const char *what;
        float scale, penWidth;
        Draw draw;
        RECT ink;
    } const cases[] = {
        {"a thin line along whole coordinates is one row",
         1,
         1,
         [](auto *graphics, auto *pen, auto *) { GdipDrawLine(graphics, pen, 4.5F, 5, 9.5F, 5); },
         {5, 5, 10, 6}},
        {"and never thinner than a pixel",
         0.25F,
         1,
         [](auto *graphics, auto *pen, auto *) { GdipDrawLine(graphics, pen, 18, 20, 38, 20); },
         {5, 5, 10, 6}},
        {"round caps stand out by half of the width",
         1,
         4,
         [&](auto *graphics, auto *pen, auto *) {
             roundCaps(pen);
             GdipDrawLine(graphics, pen, 9.5F, 9.5F, 13.5F, 9.5F);
         },
         {8, 8, 16, 12}},
        {"a rectangle's corners are square",
         1,
         1,
         [](auto *graphics, auto *pen, auto *) { GdipDrawRectangle(graphics, pen, 3, 4, 8, 6); },
         {3, 4, 12, 11}},
        {"an ellipse fills its box",
         1,
         1,
         [](auto *graphics, auto *, auto *brush) { GdipFillEllipse(graphics, brush, 2.5F, 3.5F, 9, 7); },
         {3, 4, 12, 11}},
        {"a path of four arcs",
         1,
         1,
         [](auto *graphics, auto *, auto *brush) {
             Gdiplus::GpPath *path = nullptr;
             GdipCreatePath(Gdiplus::FillModeAlternate, &path);
             GdipAddPathArc(path, 1.5F, 1.5F, 6, 6, 180, 90);
             GdipAddPathArc(path, 11.5F, 1.5F, 6, 6, 270, 90);
             GdipAddPathArc(path, 11.5F, 8.5F, 6, 6, 0, 90);
             GdipAddPathArc(path, 1.5F, 8.5F, 6, 6, 90, 90);
             GdipClosePathFigure(path);
             EXPECT_EQ(GdipFillPath(graphics, brush, path), Gdiplus::Ok);
             GdipDeletePath(path);
         },
         {2, 2, 18, 15}},
    };
    for (const auto &[what, scale, penWidth, draw, ink] : cases) {
        Pixels pixels(20, 20);
        paint(pixels, scale, penWidth, 0xFFFFFFFF, draw);
        EXPECT_EQ(edges(pixels.inkOn(0)), edges(ink)) << what;
    }
}

TEST_F(FlatDrawing, BlendsWithinTheClipOfItsStart) {
    Pixels pixels(10, 10);
    IntersectClipRect(pixels.dc, 0, 0, 10, 5);
    paint(pixels, 1, 1, 0x80FF0000, [&](auto *graphics, auto *, auto *brush) {
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
    paint(pixels, 1, 1, 0xFFFFFFFF, [](auto *graphics, auto *pen, auto *) {
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

    static HFONT makeFont(int height, const WChar *family = W("Segoe UI"), DWORD quality = ANTIALIASED_QUALITY) {
        return CreateFontW(height, 0, 0, 0, FW_NORMAL, FALSE, FALSE, FALSE, DEFAULT_CHARSET, OUT_DEFAULT_PRECIS,
                           CLIP_DEFAULT_PRECIS, quality, DEFAULT_PITCH | FF_DONTCARE, family);
    }
    SIZE size(const WString &text, UINT format, int width = 1000) {
        RECT rect = {0, 0, width, 0};
        const int height = DrawTextW(measure.dc, text.c_str(), -1, &rect, format | DT_CALCRECT | DT_NOPREFIX);
        EXPECT_EQ(height, rect.bottom);
        return {rect.right, rect.bottom};
    }
    /// The ink of a text that is drawn in black on white in a box.
    static RECT ink(const WString &text, UINT format, const RECT &box, HFONT with) {
        Pixels pixels(400, 120);
        pixels.fill(0xFFFFFF);
        HGDIOBJ before = SelectObject(pixels.dc, with);
        SetBkMode(pixels.dc, TRANSPARENT);
        RECT rect = box;
        DrawTextW(pixels.dc, text.c_str(), static_cast<int>(text.size()), &rect, format | DT_NOPREFIX);
        SelectObject(pixels.dc, before);
        return pixels.inkOn(0xFFFFFF);
    }
    RECT ink(const WString &text, UINT format, const RECT &box) { return ink(text, format, box, font); }

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
    EXPECT_EQ(size(W("one two three"), DT_WORDBREAK, line.cx).cy, line.cy);
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

    const RECT middle = ink(text, DT_SINGLELINE | DT_VCENTER, box);
    EXPECT_EQ(middle.top - left.top, (60 - extent.cy) / 2);
    EXPECT_EQ(ink(text, DT_WORDBREAK | DT_VCENTER, box).top, left.top) << "only a single line is centred";
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
    EXPECT_LE(lines(12), 12) << "in the box";
    EXPECT_GT(ink(text, DT_SINGLELINE | DT_END_ELLIPSIS, {0, 0, 3, line.cy}).right, 0) << "an ellipsis at least";
    // Only the end of the text gets an ellipsis: a word that is too long on the way there is cut.
    const RECT cut = ink(W("Donaudampfschiff I"), DT_WORDBREAK | DT_END_ELLIPSIS, {0, 0, 60, 2 * line.cy});
    EXPECT_EQ(cut.right, 60);
}

TEST_F(Texts, DrawsInTheSelectedColoursAndFont) {
    Pixels pixels(60, 40);
    HFONT sharp = makeFont(-20, W("Segoe UI"), NONANTIALIASED_QUALITY);
    HGDIOBJ before = SelectObject(pixels.dc, sharp);
    SetTextColor(pixels.dc, RGB(0x10, 0x20, 0x30));
    SetBkColor(pixels.dc, RGB(0x40, 0x50, 0x60));
    EXPECT_EQ(SetBkMode(pixels.dc, OPAQUE), OPAQUE) << "as it starts";
    RECT box = {0, 0, 60, 40};
    DrawTextW(pixels.dc, W("HHH"), 3, &box, DT_SINGLELINE | DT_NOPREFIX);
    int text = 0;
    int back = 0;
    for (int index = 0; index < 60 * 40; ++index) {
        const std::uint32_t color = pixels.bits[index] & 0xFFFFFF;
        text += color == 0x102030 ? 1 : 0;
        back += color == 0x405060 ? 1 : 0;
        EXPECT_TRUE(color == 0x102030 || color == 0x405060 || color == 0) << "nothing is smoothed";
    }
    EXPECT_GT(text, 100);
    EXPECT_GT(back, 200);
    SelectObject(pixels.dc, before);
    DeleteObject(sharp);
}

} // namespace

} // namespace dm
