// What tests of drawing need: a started system, and a device context with pixels of its own.
#pragma once

#include "platform/linux/window/application.h"
#include "platform/linux/window/drawing_objects.h"
#include "platform/text.h"
#include "platform/win32.h"

#include <gtest/gtest.h>

#include <QImage>

#include <algorithm>
#include <cstdint>

namespace dm::test {

inline BITMAPINFO bitmapInfo(LONG width, LONG height) {
    BITMAPINFO info = {};
    info.bmiHeader.biSize = sizeof(info.bmiHeader);
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = height;
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    info.bmiHeader.biCompression = BI_RGB;
    return info;
}

/// Fonts and GDI+ are there as long as a test runs.
class DrawingTest : public testing::Test {
protected:
    DrawingTest() {
        const Gdiplus::GdiplusStartupInput input;
        EXPECT_EQ(Gdiplus::GdiplusStartup(&token_, &input, nullptr), Gdiplus::Ok);
    }
    ~DrawingTest() override { Gdiplus::GdiplusShutdown(token_); }

private:
    platform::WindowSystem windows_;
    ULONG_PTR token_ = 0;
};

class Pixels {
public:
    Pixels(int width, int height) : dc(CreateCompatibleDC(nullptr)), width_(width), height_(height) {
        const BITMAPINFO info = bitmapInfo(width, -height);
        void *memory = nullptr;
        bitmap = CreateDIBSection(dc, &info, DIB_RGB_COLORS, &memory, nullptr, 0);
        bits = static_cast<std::uint32_t *>(memory);
        previous_ = SelectObject(dc, bitmap);
    }
    Pixels(const Pixels &) = delete;
    Pixels &operator=(const Pixels &) = delete;
    ~Pixels() {
        SelectObject(dc, previous_);
        DeleteObject(bitmap);
        DeleteDC(dc);
    }

    /// Red, green and blue as 0xRRGGBB.
    std::uint32_t at(int x, int y) const { return bits[y * width_ + x] & 0xFFFFFF; }
    void fill(std::uint32_t color) {
        for (int index = 0; index < width_ * height_; ++index)
            bits[index] = color;
    }
    /// The smallest rectangle that holds all pixels that are not of this colour; empty if there is none.
    RECT inkOn(std::uint32_t background) const {
        RECT ink = {width_, height_, 0, 0};
        for (int y = 0; y < height_; ++y) {
            for (int x = 0; x < width_; ++x) {
                if (at(x, y) != background)
                    ink = {std::min(ink.left, x), std::min(ink.top, y), std::max(ink.right, x + 1),
                           std::max(ink.bottom, y + 1)};
            }
        }
        return ink;
    }
    QImage image() const { return platform::imageOf(bitmap); }

    HDC dc;
    HBITMAP bitmap = nullptr;
    std::uint32_t *bits = nullptr;

private:
    int width_;
    int height_;
    HGDIOBJ previous_ = nullptr;
};

} // namespace dm::test
