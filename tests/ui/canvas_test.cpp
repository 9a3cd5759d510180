#include "ui/canvas.h"

#include "pixels.h"
#include "ui/main_view.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

namespace dm::ui {

namespace {

using test::Pixels;

std::uint32_t pixelOf(const BackBuffer &buffer, int x, int y) {
    return static_cast<const std::uint32_t *>(buffer.bits)[y * buffer.width + x] & 0xFFFFFF;
}

TEST(BackBuffers, AreKeptUntilTheirSizeChanges) {
    BackBuffer buffer;
    releaseBackBuffer(buffer);
    for (const auto &[width, height] : {std::pair{0, 10}, {10, -1}, {40000, 10}})
        EXPECT_FALSE(ensureBackBuffer(buffer, width, height)) << width;

    ASSERT_TRUE(ensureBackBuffer(buffer, 20, 10));
    fillRect(buffer.dc, {0, 0, 20, 10}, 0xFF123456);
    HDC dc = buffer.dc;
    EXPECT_TRUE(ensureBackBuffer(buffer, 20, 10));
    EXPECT_EQ(buffer.dc, dc);
    EXPECT_EQ(pixelOf(buffer, 19, 9), 0x123456U);
    EXPECT_FALSE(ensureBackBuffer(buffer, 20, 40000));
    EXPECT_EQ(pixelOf(buffer, 0, 0), 0x123456U) << "a failure leaves it as it is";

    HBITMAP bitmap = buffer.bitmap;
    EXPECT_TRUE(ensureBackBuffer(buffer, 20, 11));
    EXPECT_EQ(pixelOf(buffer, 0, 0), 0U);
    EXPECT_EQ(DeleteDC(dc), FALSE) << "the old ones are gone";
    EXPECT_EQ(DeleteObject(bitmap), FALSE);
    releaseBackBuffer(buffer);
    EXPECT_TRUE(buffer.dc == nullptr && buffer.bits == nullptr && buffer.width == 0);
}

TEST(BackBuffers, BackdropIsTheParentAndElseTheFallback) {
    BackBuffer parent;
    BackBuffer child;
    ASSERT_TRUE(ensureBackBuffer(parent, 20, 10) && ensureBackBuffer(child, 10, 6));
    fillRect(parent.dc, {0, 0, 20, 10}, 0xFF00FF00);
    copyBackdrop(child, parent, {-4, -2, 6, 4}, 0xFFFF0000);
    EXPECT_EQ(pixelOf(child, 4, 2), 0x00FF00U);
    EXPECT_EQ(pixelOf(child, 9, 5), 0x00FF00U);
    EXPECT_EQ(pixelOf(child, 3, 2), 0xFF0000U);
    EXPECT_EQ(pixelOf(child, 4, 1), 0xFF0000U);
    copyBackdrop(child, {}, {0, 0, 10, 6}, 0xFF0000FF);
    EXPECT_EQ(pixelOf(child, 5, 3), 0x0000FFU) << "without a parent there is the fallback";
    releaseBackBuffer(parent);
    releaseBackBuffer(child);
}

class Drawn : public test::DrawingTest {
protected:
    Drawn() {
        palette = lookFor("light", "emerald", {}).palette;
        highContrast = false;
    }
    ~Drawn() override { releaseTextPainter(painter); }
    void draw(const Pixels &pixels, float scale, bool rightToLeft, const std::function<void(Canvas &)> &paint) {
        Canvas canvas(pixels.dc, scale, W("Segoe UI"), rightToLeft, painter);
        paint(canvas);
        EXPECT_EQ(canvas.graphics().lastStatus, Gdiplus::Ok);
    }

    TextPainter painter;
};

TEST_F(Drawn, ProgressIsNeverShorterThanItIsHigh) {
    for (const auto &[fraction, filled] : {std::pair{-1.0F, 0}, {0, 0}, {0.001F, 8}, {0.5F, 50}, {7, 100}}) {
        Pixels pixels(120, 20);
        draw(pixels, 1, false,
             [fraction = fraction](Canvas &canvas) { drawProgressBar(canvas, 9.5F, 5.5F, 100, fraction); });
        int width = 0;
        for (int x = 0; x < 120; ++x)
            width += pixels.at(x, 10) == (palette.accentColor & 0xFFFFFF) ? 1 : 0;
        EXPECT_NEAR(width, filled, 2) << fraction << ", whose ends are smoothed";
    }
}

TEST_F(Drawn, CardsCastNoShadowInHighContrast) {
    for (const bool contrast : {false, true}) {
        Pixels pixels(120, 120);
        pixels.fill(0x000001);
        highContrast = contrast;
        draw(pixels, 1, false, [](Canvas &canvas) { drawCard(canvas, 10, 10, 100, 100); });
        EXPECT_EQ(pixels.at(60, 60), palette.cardBackground & 0xFFFFFF);
        EXPECT_EQ(pixels.at(60, 10), palette.borderColor & 0xFFFFFF);
        const Argb shadow = mixColor(palette.windowBackground, palette.borderColor, 0.14F);
        EXPECT_EQ(pixels.at(60, 112), contrast ? 1U : shadow & 0xFFFFFF);
    }
    highContrast = false;
}

TEST_F(Drawn, TextsLieAboveTheShapesThatComeAfterThem) {
    Pixels pixels(60, 60);
    draw(pixels, 1, false, [](Canvas &canvas) {
        canvas.drawText(W("M"), 0, 0, 60, 60, 30, 0xFFFF0000, true, true, true, true);
        fillRoundRect(canvas, -9, -9, 80, 80, 1, 0xFF00FF00, 0, 0);
    });
    int red = 0;
    for (int y = 0; y < 60; ++y) {
        for (int x = 0; x < 60; ++x)
            red += pixels.at(x, y) == 0xFF0000 ? 1 : 0;
    }
    EXPECT_GT(red, 50);
    EXPECT_EQ(pixels.at(1, 1), 0x00FF00U);
}

TEST_F(Drawn, TextsStandAtTheLeadingEdgeOrInTheMiddle) {
    const auto ink = [&](bool rightToLeft, bool centered) {
        Pixels pixels(400, 60);
        draw(pixels, 2, rightToLeft, [centered](Canvas &canvas) {
            canvas.drawText(W("HHH"), 10, 5, 100, 20, 11, 0xFFFFFFFF, false, false, true, centered);
        });
        return pixels.inkOn(0);
    };
    EXPECT_NEAR(ink(false, false).left, 20, 4);
    EXPECT_NEAR(ink(true, false).right, 220, 4);
    for (const bool rightToLeft : {false, true}) {
        const RECT middle = ink(rightToLeft, true);
        EXPECT_NEAR(middle.left - 20, 220 - middle.right, 3);
    }
    EXPECT_LT(ink(false, false).right, 120);
}

/// What stands for a picture in the tests' folder; written there where DUSTMERE_WRITE_PICTURES is set.
void expectPicture(const Pixels &pixels, const std::string &name) {
    const QString path = QStringLiteral(DUSTMERE_PICTURES "/") + QString::fromStdString(name) + QStringLiteral(".png");
    if (std::getenv("DUSTMERE_WRITE_PICTURES") != nullptr) {
        ASSERT_TRUE(pixels.image().save(path));
        return;
    }
    const QImage expected = QImage(path).convertToFormat(QImage::Format_RGB32);
    const QImage actual = pixels.image();
    ASSERT_EQ(actual.size(), expected.size()) << path.toStdString();
    int different = 0;
    for (int y = 0; y < actual.height(); ++y) {
        for (int x = 0; x < actual.width(); ++x) {
            const QColor left = actual.pixelColor(x, y);
            const QColor right = expected.pixelColor(x, y);
            const int distance = std::max({std::abs(left.red() - right.red()), std::abs(left.green() - right.green()),
                                           std::abs(left.blue() - right.blue())});
            different += distance > 24 ? 1 : 0;
        }
    }
    // Edges may be smoothed a little differently; a shape that moves by a pixel changes more than that.
    EXPECT_LE(different, actual.width() * actual.height() / 1000) << name;
}

TEST_F(Drawn, ShapesLookAsTheyDid) {
    for (const float scale : {1.0F, 1.5F}) {
        Pixels pixels(static_cast<int>(240 * scale), static_cast<int>(110 * scale));
        fillRect(pixels.dc, {0, 0, 1000, 1000}, palette.windowBackground);
        draw(pixels, scale, false, [](Canvas &canvas) {
            drawCard(canvas, 4, 4, 232, 40);
            float x = 10;
            // The question mark of 2 is a matter of fonts.
            for (const int glyph : {0, 1, 3, 4, 5, 6, 7}) {
                drawGlyph(canvas, glyph, x, 12, 24, palette.textPrimary);
                x += 32;
            }
            drawBroom(canvas, 10, 52, 48, palette.accentText);
            drawProgressBar(canvas, 70, 56, 150, 0.4F);
            fillRoundRect(canvas, 70, 74, 60, 24, 12, palette.accentTint, palette.accentColor, 1);
            fillRoundRect(canvas, 140, 74, 80, 24, 6, palette.cardBackground, palette.borderColor, 2);
        });
        expectPicture(pixels, scale == 1 ? "shapes-1" : "shapes-1.5");
    }
}

class MainBuffer : public Drawn {
protected:
    MainBuffer() {
        WNDCLASSEXW windowClass = {};
        windowClass.cbSize = sizeof(windowClass);
        windowClass.lpszClassName = W("PaintedWindow");
        windowClass.lpfnWndProc = [](HWND window, UINT message, WPARAM wParam, LPARAM lParam) -> LRESULT {
            if (message == WM_ERASEBKGND)
                return 1;
            if (message != WM_PAINT || window != mainView.window)
                return DefWindowProcW(window, message, wParam, lParam);
            paintMainWindow();
            return 0;
        };
        RegisterClassExW(&windowClass);
        mainView.window =
            CreateWindowExW(0, W("PaintedWindow"), W(""), WS_POPUP, 0, 0, 200, 100, nullptr, nullptr, nullptr, nullptr);
        mainView.paintPage = [this](HDC dc, int width, int height) {
            ++pages;
            fillRect(dc, {0, 0, width, height}, 0xFF336699);
            queueText(W("HH"), 10, 10, 100, 40, 20, 0xFFFFFFFF, true, Alignment::Leading, false, false, true);
            if (inPage)
                inPage();
        };
    }
    ~MainBuffer() override {
        DestroyWindow(mainView.window);
        mainView = {};
        releaseDrawing();
    }

    int pages = 0;
    std::function<void()> inPage;
};

TEST_F(MainBuffer, IsPaintedOnceForEachChange) {
    renderMainBuffer();
    EXPECT_EQ(pages, 1);
    EXPECT_EQ(pixelOf(mainBuffer, 199, 99), 0x336699U);
    bool text = false;
    for (int x = 10; x < 60; ++x)
        text = text || pixelOf(mainBuffer, x, 27) == 0xFFFFFF;
    EXPECT_TRUE(text);

    renderMainBuffer();
    EXPECT_EQ(pages, 1) << "nothing has changed";
    queueText(W("late"), 0, 0, 10, 10, 10, 0, false, Alignment::Leading, false, false, false);
    HWND other = reinterpret_cast<HWND>(this);
    invalidateView(other, nullptr);
    renderMainBuffer();
    EXPECT_EQ(pages, 1) << "another window's repaints do not count";
    mainView.largeFilesWindow = other;
    invalidateView(other, nullptr);
    renderMainBuffer();
    EXPECT_EQ(pages, 2);
    mainView.largeFilesWindow = nullptr;
    invalidateView(mainView.window, nullptr);
    inPage = [] {
        renderMainBuffer();
        invalidateView(mainView.window, nullptr);
    };
    renderMainBuffer();
    EXPECT_EQ(pages, 3) << "a paint within the paint does nothing";
    inPage = nullptr;
    renderMainBuffer();
    EXPECT_EQ(pages, 4) << "what changed during the paint is painted next";
}

TEST_F(MainBuffer, ReachesTheWindowWithoutAPage) {
    ShowWindow(mainView.window, SW_SHOWNOACTIVATE);
    while (pages == 0)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    const RECT part = {0, 0, 20, 20};
    InvalidateRect(mainView.window, &part, FALSE);
    UpdateWindow(mainView.window);
    EXPECT_EQ(pages, 1) << "an unchanged window is copied";
    invalidateView(mainView.window, &part);
    UpdateWindow(mainView.window);
    EXPECT_EQ(pages, 2);
}

} // namespace

} // namespace dm::ui
