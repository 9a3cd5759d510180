#include "ui/canvas.h"

#include "ui/main_view.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

using namespace Gdiplus::DllExports;

namespace dm::ui {

std::uint64_t paintGeneration = 1;
BackBuffer mainBuffer;
std::map<HWND, BackBuffer> controlBuffers;

namespace {

bool rendering = false;
std::uint64_t renderedGeneration = 0;

int rounded(float value) {
    return static_cast<int>(std::lround(boundedPixels(value)));
}

void freeBuffer(const BackBuffer &buffer) {
    if (buffer.dc != nullptr) {
        SelectObject(buffer.dc, buffer.previousBitmap);
        DeleteObject(buffer.bitmap);
        DeleteDC(buffer.dc);
    }
}

/// Null fields where it fails.
BackBuffer makeBuffer(int width, int height) {
    BITMAPINFO info = {};
    info.bmiHeader.biSize = sizeof(info.bmiHeader);
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = -height;
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    info.bmiHeader.biCompression = BI_RGB;

    BackBuffer buffer = {.width = width, .height = height};
    HDC dc = CreateCompatibleDC(nullptr);
    if (dc == nullptr)
        return {};
    buffer.bitmap = CreateDIBSection(dc, &info, DIB_RGB_COLORS, &buffer.bits, nullptr, 0);
    if (buffer.bitmap == nullptr) {
        DeleteDC(dc);
        return {};
    }
    buffer.dc = dc;
    buffer.previousBitmap = SelectObject(dc, buffer.bitmap);
    return buffer;
}

class SolidBrush {
public:
    SolidBrush(Graphics &graphics, Argb color) { graphics.note(GdipCreateSolidFill(color, &brush_)); }
    SolidBrush(const SolidBrush &) = delete;
    SolidBrush &operator=(const SolidBrush &) = delete;
    ~SolidBrush() { GdipDeleteBrush(brush_); }
    operator Gdiplus::GpBrush *() const { return brush_; }

private:
    Gdiplus::GpSolidFill *brush_ = nullptr;
};

enum class Caps { Flat, Round };

class Pen {
public:
    Pen(Graphics &graphics, Argb color, float width, Caps caps) {
        graphics.note(GdipCreatePen1(color, width, Gdiplus::UnitWorld, &pen_));
        if (caps == Caps::Round) {
            graphics.note(GdipSetPenStartCap(pen_, Gdiplus::LineCapRound));
            graphics.note(GdipSetPenEndCap(pen_, Gdiplus::LineCapRound));
        }
    }
    Pen(const Pen &) = delete;
    Pen &operator=(const Pen &) = delete;
    ~Pen() { GdipDeletePen(pen_); }
    operator Gdiplus::GpPen *() const { return pen_; }

private:
    Gdiplus::GpPen *pen_ = nullptr;
};

class Path {
public:
    explicit Path(Graphics &graphics) { graphics.note(GdipCreatePath(Gdiplus::FillModeAlternate, &path_)); }
    Path(const Path &) = delete;
    Path &operator=(const Path &) = delete;
    ~Path() { GdipDeletePath(path_); }
    operator Gdiplus::GpPath *() const { return path_; }

private:
    Gdiplus::GpPath *path_ = nullptr;
};

/// Draws in a square with one pen; coordinates are fractions of its size.
class Sketch {
public:
    Sketch(Canvas &canvas, float x, float y, float size, Argb color, float penWidth)
        : graphics_(canvas.graphics()), pen_(graphics_, color, penWidth, Caps::Round), color_(color), x_(x), y_(y),
          size_(size) {}

    void line(float x1, float y1, float x2, float y2) {
        graphics_.note(GdipDrawLine(graphics_.object, pen_, atX(x1), atY(y1), atX(x2), atY(y2)));
    }
    void rectangle(float x, float y, float w, float h) {
        graphics_.note(GdipDrawRectangle(graphics_.object, pen_, atX(x), atY(y), w * size_, h * size_));
    }
    void ellipse(float x, float y, float w, float h) {
        graphics_.note(GdipDrawEllipse(graphics_.object, pen_, atX(x), atY(y), w * size_, h * size_));
    }
    void arc(float x, float y, float w, float h, float start, float sweep) {
        graphics_.note(GdipDrawArc(graphics_.object, pen_, atX(x), atY(y), w * size_, h * size_, start, sweep));
    }
    void dot(float x, float y, float diameter) {
        const SolidBrush brush(graphics_, color_);
        graphics_.note(GdipFillEllipse(graphics_.object, brush, atX(x), atY(y), diameter * size_, diameter * size_));
    }

private:
    float atX(float fraction) const { return x_ + fraction * size_; }
    float atY(float fraction) const { return y_ + fraction * size_; }

    Graphics &graphics_;
    Pen pen_;
    Argb color_;
    float x_;
    float y_;
    float size_;
};

void drawDisk(Sketch &sketch) {
    sketch.rectangle(0.08F, 0.2F, 0.84F, 0.6F);
    sketch.line(0.08F, 0.54F, 0.92F, 0.54F);
    sketch.ellipse(0.7F, 0.64F, 0.07F, 0.07F);
}

void drawGlobe(Sketch &sketch) {
    sketch.ellipse(0.07F, 0.07F, 0.86F, 0.86F);
    sketch.ellipse(0.31F, 0.07F, 0.38F, 0.86F);
    sketch.line(0.07F, 0.5F, 0.93F, 0.5F);
}

void drawGear(Sketch &sketch) {
    constexpr int spokes = 8;
    constexpr float inner = 0.3F;
    constexpr float outer = 0.45F;
    sketch.ellipse(0.5F - inner, 0.5F - inner, 2 * inner, 2 * inner);
    for (int spoke = 0; spoke < spokes; ++spoke) {
        const float angle = static_cast<float>(spoke) * std::numbers::pi_v<float> * 0.25F;
        const float x = std::cos(angle);
        const float y = std::sin(angle);
        sketch.line(0.5F + inner * x, 0.5F + inner * y, 0.5F + outer * x, 0.5F + outer * y);
    }
}

void drawKey(Sketch &sketch) {
    sketch.ellipse(0.08F, 0.31F, 0.38F, 0.38F);
    sketch.line(0.46F, 0.5F, 0.92F, 0.5F);
    sketch.line(0.8F, 0.5F, 0.8F, 0.7F);
}

void drawPage(Sketch &sketch) {
    sketch.rectangle(0.18F, 0.08F, 0.64F, 0.84F);
    sketch.line(0.34F, 0.38F, 0.66F, 0.38F);
    sketch.line(0.34F, 0.6F, 0.66F, 0.6F);
}

void drawBin(Sketch &sketch) {
    sketch.line(0.1F, 0.22F, 0.9F, 0.22F);
    sketch.rectangle(0.2F, 0.22F, 0.6F, 0.7F);
    sketch.line(0.4F, 0.4F, 0.4F, 0.74F);
    sketch.line(0.6F, 0.4F, 0.6F, 0.74F);
}

bool paintsByGenerations(HWND window) {
    return window != nullptr && (window == mainView.window || window == mainView.largeFilesWindow);
}

} // namespace

bool ensureBackBuffer(BackBuffer &buffer, int width, int height) {
    if (width < 1 || height < 1)
        return false;
    if (buffer.bitmap != nullptr && buffer.width == width && buffer.height == height)
        return true;
    const BackBuffer made = makeBuffer(width, height);
    if (made.bitmap == nullptr)
        return false;
    freeBuffer(std::exchange(buffer, made));
    return true;
}

void releaseBackBuffer(BackBuffer &buffer) {
    freeBuffer(std::exchange(buffer, {}));
}

void fillRect(HDC dc, const RECT &rect, Argb color) {
    const COLORREF old = SetDCBrushColor(dc, toColorRef(color));
    if (old == CLR_INVALID)
        return;
    FillRect(dc, &rect, static_cast<HBRUSH>(GetStockObject(DC_BRUSH)));
    SetDCBrushColor(dc, old);
}

void copyBuffer(HDC dc, const BackBuffer &buffer, const RECT &part) {
    if (buffer.dc != nullptr) {
        BitBlt(dc, part.left, part.top, part.right - part.left, part.bottom - part.top, buffer.dc, part.left, part.top,
               SRCCOPY);
    }
}

void copyBackdrop(const BackBuffer &child, const BackBuffer &parent, const RECT &rectInParent, Argb fallbackColor) {
    fillRect(child.dc, {0, 0, child.width, child.height}, fallbackColor);
    GdiFlush();

    BITMAP bitmap = {};
    if (GetObjectW(parent.bitmap, sizeof(bitmap), &bitmap) == 0)
        return;
    const int left = std::max<int>(rectInParent.left, 0);
    const int top = std::max<int>(rectInParent.top, 0);
    const int right = std::min(rectInParent.right, bitmap.bmWidth);
    const int bottom = std::min(rectInParent.bottom, bitmap.bmHeight);
    if (left < right && top < bottom) {
        BitBlt(child.dc, left - rectInParent.left, top - rectInParent.top, right - left, bottom - top, parent.dc, left,
               top, SRCCOPY);
    }
}

Canvas::Canvas(HDC dc, float scale, WString fontFamily, bool rightToLeft, TextPainter &painter)
    : dc_(dc), scale_(scale), fontFamily_(std::move(fontFamily)), rightToLeft_(rightToLeft), painter_(painter) {
    runs_.reserve(64);
    graphics_.note(GdipCreateFromHDC(dc, &graphics_.object));
    graphics_.note(GdipScaleWorldTransform(graphics_.object, scale, scale, Gdiplus::MatrixOrderPrepend));
    graphics_.note(GdipSetSmoothingMode(graphics_.object, Gdiplus::SmoothingModeAntiAlias));
}

Canvas::~Canvas() {
    graphics_.note(GdipFlush(graphics_.object, Gdiplus::FlushIntentionSync));
    graphics_.note(GdipDeleteGraphics(graphics_.object));
    for (TextRun &run : runs_)
        drawTextRun(painter_, dc_, run);
}

void Canvas::drawText(WStringView text, float x, float y, float width, float height, float size, Argb color, bool bold,
                      bool centerVertically, bool singleLine, bool centerHorizontally) {
    TextRun run;
    run.text = text;
    run.fontFamily = fontFamily_;
    run.rect = {rounded(x * scale_), rounded(y * scale_), rounded((x + width) * scale_),
                rounded((y + height) * scale_)};
    run.color = toColorRef(color);
    run.pixelSize = std::max(rounded(size * scale_), 1);
    run.minPixelSize = std::max(rounded(leastSizeOf(size) * scale_), 1);
    run.bold = bold;
    run.centerVertically = centerVertically;
    run.singleLine = singleLine;
    run.drawFlags = (centerHorizontally ? DT_CENTER
                     : rightToLeft_     ? DT_RIGHT
                                        : DT_LEFT) |
                    (rightToLeft_ ? DT_RTLREADING : 0);
    runs_.push_back(std::move(run));
}

void addRoundRectPath(Gdiplus::GpPath *path, float x, float y, float w, float h, float r) {
    const float radius = std::min({r, w / 2, h / 2});
    const float box = 2 * radius;
    GdipAddPathArc(path, x, y, box, box, 180, 90);
    GdipAddPathArc(path, x + w - box, y, box, box, 270, 90);
    GdipAddPathArc(path, x + w - box, y + h - box, box, box, 0, 90);
    GdipAddPathArc(path, x, y + h - box, box, box, 90, 90);
    GdipClosePathFigure(path);
}

void fillRoundRect(Canvas &canvas, float x, float y, float w, float h, float r, Argb fill, Argb border,
                   float borderWidth) {
    Graphics &graphics = canvas.graphics();
    const Path path(graphics);
    addRoundRectPath(path, x, y, w, h, r);
    const SolidBrush brush(graphics, fill);
    graphics.note(GdipFillPath(graphics.object, brush, path));
    if (border >> 24 != 0) {
        const Pen pen(graphics, border, borderWidth, Caps::Flat);
        graphics.note(GdipDrawPath(graphics.object, pen, path));
    }
}

void drawProgressBar(Canvas &canvas, float x, float y, float w, float fraction) {
    constexpr float height = 8;
    fillRoundRect(canvas, x, y, w, height, height / 2, palette.fieldBackground, 0, 0);
    if (fraction > 0) {
        const float filled = fraction < 1 ? w * fraction : w;
        fillRoundRect(canvas, x, y, std::max(filled, height), height, height / 2, palette.accentColor, 0, 0);
    }
}

void drawCard(Canvas &canvas, float x, float y, float w, float h) {
    constexpr float radius = 16;
    if (!highContrast) {
        const Argb shadow = mixColor(palette.windowBackground, palette.borderColor, 0.14F);
        fillRoundRect(canvas, x, y + 3, w, h, radius, shadow, 0, 0);
    }
    fillRoundRect(canvas, x, y, w, h, radius, palette.cardBackground, palette.borderColor, 1);
}

void drawGlyph(Canvas &canvas, int index, float x, float y, float size, Argb color) {
    if (index == 0) {
        drawBroom(canvas, x, y, size, color);
        return;
    }
    Sketch sketch(canvas, x, y, size, color, 1.8F);
    switch (index) {
    case 1:
        drawDisk(sketch);
        break;
    case 2:
        sketch.ellipse(0.07F, 0.07F, 0.86F, 0.86F);
        canvas.drawText(W("?"), x, y, size, size, size * 0.6F, color, true, true, true, true);
        break;
    case 3:
        drawGlobe(sketch);
        break;
    case 4:
        drawGear(sketch);
        break;
    case 5:
        drawKey(sketch);
        break;
    case 6:
        drawPage(sketch);
        break;
    default:
        drawBin(sketch);
        break;
    }
}

void drawBroom(Canvas &canvas, float x, float y, float size, Argb color) {
    Sketch sketch(canvas, x, y, size, color, size / 18);
    sketch.line(0.8F, 0, 0.38F, 0.65F);
    sketch.line(0.38F, 0.65F, 0.05F, 0.75F);
    sketch.arc(0, 0.43F, 0.59F, 0.44F, 0, 180);
    sketch.line(0.15F, 0.76F, 0.3F, 0.86F);
    sketch.dot(0.58F, 0.76F, 0.075F);
    sketch.dot(0.68F, 0.85F, 0.06F);
}

void invalidateView(HWND window, const RECT *rect) {
    if (paintsByGenerations(window))
        ++paintGeneration;
    InvalidateRect(window, rect, FALSE);
}

void renderMainBuffer() {
    RECT client = {};
    if (rendering || GetClientRect(mainView.window, &client) == FALSE ||
        !ensureBackBuffer(mainBuffer, client.right, client.bottom) || renderedGeneration == paintGeneration)
        return;
    rendering = true;
    // What asks for a repaint meanwhile is not in this one.
    const std::uint64_t generation = paintGeneration;
    TextBatch batch(textPainter);
    {
        const BatchScope scope(batch);
        mainView.paintPage(mainBuffer.dc, mainBuffer.width, mainBuffer.height);
    }
    drawBatch(batch, mainBuffer.dc);
    renderedGeneration = generation;
    rendering = false;
}

void paintMainWindow() {
    PAINTSTRUCT paint = {};
    HDC dc = BeginPaint(mainView.window, &paint);
    renderMainBuffer();
    copyBuffer(dc, mainBuffer, paint.rcPaint);
    EndPaint(mainView.window, &paint);
}

void releaseDrawing() {
    releaseBackBuffer(mainBuffer);
    renderedGeneration = 0;
    for (auto &[control, buffer] : controlBuffers)
        releaseBackBuffer(buffer);
    controlBuffers.clear();
    releaseTextPainter(textPainter);
}

} // namespace dm::ui
