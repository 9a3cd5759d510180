// The drawing layer under all windows: off-screen buffers, shapes by GDI+, and texts above them.
#pragma once

#include "platform/text.h"
#include "platform/win32.h"
#include "ui/text.h"
#include "ui/theme.h"

#include <cstdint>
#include <map>
#include <vector>

namespace dm::ui {

/// A memory device context with its pixels, 32 bits each, top-down.
struct BackBuffer {
    HDC dc = nullptr;
    HBITMAP bitmap = nullptr;
    HGDIOBJ previousBitmap = nullptr; ///< what `dc` held before
    std::int32_t width = 0;
    std::int32_t height = 0;
    void *bits = nullptr;
};

/// True when the buffer holds a bitmap of that size. One of the right size is kept with its contents; a failure leaves
/// the old one as it is.
bool ensureBackBuffer(BackBuffer &buffer, int width, int height);
void releaseBackBuffer(BackBuffer &buffer);
/// Fills `child` with what lies under it in `parent`, and with the colour where that has nothing.
void copyBackdrop(const BackBuffer &child, const BackBuffer &parent, const RECT &rectInParent, Argb fallbackColor);
/// Copies a part of the buffer to the same place of a window.
void copyBuffer(HDC dc, const BackBuffer &buffer, const RECT &part);
/// Fills a rectangle of pixels.
void fillRect(HDC dc, const RECT &rect, Argb color);

/// A GDI+ graphics object with the last status other than Ok.
struct Graphics {
    Gdiplus::GpGraphics *object = nullptr;
    Gdiplus::GpStatus lastStatus = Gdiplus::Ok;

    void note(Gdiplus::GpStatus status) {
        if (status != Gdiplus::Ok)
            lastStatus = status;
    }
};

/// The surface of one paint: shapes go to the device context at once, texts when it ends. Geometry in DIPs.
class Canvas {
public:
    Canvas(HDC dc, float scale, WString fontFamily, bool rightToLeft, TextPainter &painter);
    Canvas(const Canvas &) = delete;
    Canvas &operator=(const Canvas &) = delete;
    ~Canvas();

    /// Centred, or at the leading edge.
    void drawText(WStringView text, float x, float y, float width, float height, float size, Argb color, bool bold,
                  bool centerVertically, bool singleLine, bool centerHorizontally);

    Graphics &graphics() { return graphics_; }

private:
    HDC dc_;
    float scale_;
    WString fontFamily_;
    bool rightToLeft_;
    TextPainter &painter_;
    std::vector<TextRun> runs_;
    Graphics graphics_;
};

// Primitives. None reports a failure: the graphics notes it, and the paint goes on.

void addRoundRectPath(Gdiplus::GpPath *path, float x, float y, float w, float h, float r);
/// No border where the alpha of its colour is zero.
void fillRoundRect(Canvas &canvas, float x, float y, float w, float h, float r, Argb fill, Argb border,
                   float borderWidth);
/// Height 8, filled up to the fraction.
void drawProgressBar(Canvas &canvas, float x, float y, float w, float fraction);
/// With a shadow, but for high contrast.
void drawCard(Canvas &canvas, float x, float y, float w, float h);
void drawLine(Canvas &canvas, float x1, float y1, float x2, float y2, Argb color, float width, bool roundCaps);
/// 0 clean-up, 1 disk space, 2 help, 3 website, 4 settings, 5 safety, 6 temporary files, any other the Recycle Bin.
void drawGlyph(Canvas &canvas, int index, float x, float y, float size, Argb color);
void drawBroom(Canvas &canvas, float x, float y, float size, Argb color);

/// What invalidateView has asked for so far of the windows that paint by generations.
extern std::uint64_t paintGeneration;

/// Asks for a repaint of a part of the window; null is all of it.
void invalidateView(HWND window, const RECT *rect);
/// Brings the main window's buffer up to date, if anything has changed since.
void renderMainBuffer();
/// Answers WM_PAINT of the main window.
void paintMainWindow();

/// The main window's buffer, and those of controls by their handles.
extern BackBuffer mainBuffer;
extern std::map<HWND, BackBuffer> controlBuffers;
/// Frees fonts and buffers, when no window is left.
void releaseDrawing();

} // namespace dm::ui
