// Measures what a repaint costs: of a page, beside the same page in bare QPainter, and of a window in which nothing has
// changed, by its calls.
#include "measure.h"
#include "canvas/scene.h"
#include "i18n/language.h"
#include "platform/linux/window/application.h"
#include "platform/linux/window/drawing_objects.h"
#include "platform/linux/window/fonts.h"
#include "ui/main_view.h"

#include <QPaintDevice>
#include <QPaintEngine>
#include <QPainter>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <functional>
#include <stdexcept>
#include <vector>

namespace dm::bench {

namespace {

constexpr int repaints = 31;

/// Painting is one thread's work and waits for nothing, so this is what it takes on a machine that has nothing else to
/// do.
double processorSeconds(const std::function<void()> &work) {
    const auto now = [] {
        timespec time;
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
    };
    const double start = now();
    work();
    return now() - start;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

QColor qColor(ui::Argb color) {
    return QColor::fromRgba(color);
}

QFont bareFont(const SceneText &text, float scale) {
    QFont font(platform::familiesFor(QStringLiteral("Segoe UI")));
    font.setPixelSize(static_cast<int>(std::lround(text.size * scale)));
    font.setWeight(text.bold ? QFont::DemiBold : QFont::Normal);
    return font;
}

int bareFlags(const SceneText &text) {
    const int alignment = text.alignment == ui::Alignment::Leading    ? Qt::AlignLeft
                          : text.alignment == ui::Alignment::Centered ? Qt::AlignHCenter
                                                                      : Qt::AlignRight;
    return alignment | (text.singleLine ? Qt::TextSingleLine : Qt::TextWordWrap);
}

/// The scene as one would paint it with nothing but QPainter, which neither measures nor shrinks a text.
void paintBare(const Scene &scene, QImage &image, float scale) {
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(scale, scale);
    for (const SceneBox &box : scene.boxes) {
        const QRectF rect(box.x, box.y, box.width, box.height);
        painter.setPen(box.border == 0 ? QPen(Qt::NoPen) : QPen(qColor(box.border), box.borderWidth));
        painter.setBrush(qColor(box.fill));
        if (box.radius > 0)
            painter.drawRoundedRect(rect, box.radius, box.radius);
        else
            painter.fillRect(rect, qColor(box.fill));
    }
    for (const SceneGlyph &glyph : scene.glyphs) {
        const auto x = [&](float part) { return glyph.x + part * glyph.size; };
        const auto y = [&](float part) { return glyph.y + part * glyph.size; };
        painter.setPen(QPen(qColor(glyph.color), 1.8, Qt::SolidLine, Qt::RoundCap));
        painter.setBrush(Qt::NoBrush);
        painter.drawRect(QRectF(x(0.18F), y(0.08F), 0.64F * glyph.size, 0.84F * glyph.size));
        for (const float part : {0.38F, 0.6F})
            painter.drawLine(QPointF(x(0.34F), y(part)), QPointF(x(0.66F), y(part)));
    }
    painter.resetTransform();
    for (const SceneText &text : scene.texts) {
        painter.setFont(bareFont(text, scale));
        painter.setPen(qColor(text.color));
        const QRectF rect(text.x * scale, text.y * scale, text.width * scale, text.height * scale);
        painter.drawText(rect, bareFlags(text), QString::fromUtf16(text.text.data(), text.text.size()));
    }
}

/// As the main window fills its buffer.
void paintOurs(const Scene &scene, const ui::BackBuffer &buffer, float scale) {
    ui::TextBatch batch(ui::textPainter);
    {
        const ui::BatchScope scope(batch);
        paintScene(scene, buffer.dc, scale);
    }
    ui::drawBatch(batch, buffer.dc);
}

void measureRepaint(const char *phase, float scale) {
    ui::mainView.uiScale = scale;
    const Scene scene = makeScene();
    const int width = static_cast<int>(sceneWidth * scale);
    const int height = static_cast<int>(sceneHeight * scale);
    ui::BackBuffer buffer;
    if (!ui::ensureBackBuffer(buffer, width, height))
        throw std::runtime_error("no memory for the buffer");
    QImage image(width, height, QImage::Format_RGB32);

    const double first = processorSeconds([&] { paintOurs(scene, buffer, scale); });
    paintBare(scene, image, scale);
    std::vector<double> ours;
    std::vector<double> bare;
    std::vector<double> ratios;
    for (int repaint = 0; repaint < repaints; ++repaint) {
        ours.push_back(processorSeconds([&] { paintOurs(scene, buffer, scale); }));
        bare.push_back(processorSeconds([&] { paintBare(scene, image, scale); }));
        ratios.push_back(ours.back() / bare.back());
    }
    ui::releaseBackBuffer(buffer);
    Line(phase)
        .add("texts", scene.texts.size())
        .addSeconds("first_seconds", first)
        .addSeconds("bare_seconds", median(bare))
        .addSeconds("ratio", median(ratios))
        .addSeconds("least_seconds", *std::min_element(ours.begin(), ours.end()))
        .print(median(ours));
}

/// Counts what is drawn on a device, and draws nothing.
class CountingEngine final : public QPaintEngine {
public:
    CountingEngine() : QPaintEngine(QPaintEngine::AllFeatures) {}
    bool begin(QPaintDevice *) override { return true; }
    bool end() override { return true; }
    void updateState(const QPaintEngineState &) override {}
    Type type() const override { return User; }
    void drawImage(const QRectF &rect, const QImage &, const QRectF &, Qt::ImageConversionFlags) override {
        ++images;
        imagePixels += static_cast<std::uint64_t>(rect.width() * rect.height());
    }
    void drawPixmap(const QRectF &, const QPixmap &, const QRectF &) override { ++others; }
    void drawTextItem(const QPointF &, const QTextItem &) override { ++others; }
    void drawPath(const QPainterPath &) override { ++others; }
    void drawRects(const QRectF *, int) override { ++others; }
    void drawPolygon(const QPointF *, int, PolygonDrawMode) override { ++others; }

    std::uint64_t images = 0;
    std::uint64_t imagePixels = 0;
    std::uint64_t others = 0;
};

class CountingDevice final : public QPaintDevice {
public:
    CountingDevice(int width, int height) : width_(width), height_(height) {}
    QPaintEngine *paintEngine() const override { return &engine; }
    mutable CountingEngine engine;

protected:
    int metric(PaintDeviceMetric metric) const override {
        switch (metric) {
        case PdmWidth:
            return width_;
        case PdmHeight:
            return height_;
        case PdmDevicePixelRatio:
            return 1;
        case PdmDevicePixelRatioScaled:
            return static_cast<int>(devicePixelRatioFScale());
        default:
            return 96; // dots an inch
        }
    }

private:
    int width_;
    int height_;
};

/// Does with an unchanged window what WM_PAINT does, on a device that counts.
void measureUnchanged() {
    ui::mainView.uiScale = 1;
    const Scene scene = makeScene();
    WNDCLASSEXW windowClass = {};
    windowClass.cbSize = sizeof(windowClass);
    windowClass.lpszClassName = W("MeasuredWindow");
    windowClass.lpfnWndProc = DefWindowProcW;
    RegisterClassExW(&windowClass);
    ui::mainView.window = CreateWindowExW(0, windowClass.lpszClassName, W(""), WS_POPUP, 0, 0, sceneWidth, sceneHeight,
                                          nullptr, nullptr, nullptr, nullptr);
    std::uint64_t pages = 0;
    ui::mainView.paintPage = [&](HDC dc, int, int) {
        ++pages;
        paintScene(scene, dc, 1);
    };
    ui::renderMainBuffer();
    if (pages != 1)
        throw std::runtime_error("the page was not painted");

    CountingDevice counting(sceneWidth, sceneHeight);
    {
        const platform::PaintDc dc(counting, QRect(300, 200, 200, 60));
        ui::renderMainBuffer();
        ui::copyBuffer(dc.get(), ui::mainBuffer, {300, 200, 500, 260});
    }
    QImage image(sceneWidth, sceneHeight, QImage::Format_RGB32);
    const platform::PaintDc dc(image, image.rect());
    std::vector<double> times;
    for (int repaint = 0; repaint < repaints; ++repaint) {
        times.push_back(processorSeconds([&] {
            ui::renderMainBuffer();
            ui::copyBuffer(dc.get(), ui::mainBuffer, {0, 0, sceneWidth, sceneHeight});
        }));
    }
    DestroyWindow(ui::mainView.window);
    Line("unchanged")
        .add("block_copies", counting.engine.images)
        .add("pixels", counting.engine.imagePixels)
        .add("other_calls", counting.engine.others + pages - 1)
        .print(median(times));
}

void measure() {
    ULONG_PTR token = 0;
    const Gdiplus::GdiplusStartupInput input;
    if (Gdiplus::GdiplusStartup(&token, &input, nullptr) != Gdiplus::Ok)
        throw std::runtime_error("GDI+ does not start");
    setLanguage("en");
    ui::palette = ui::lookFor("light", "emerald", {}).palette;
    measureRepaint("repaint-1", 1);
    measureRepaint("repaint-2", 2);
    measureUnchanged();
    ui::releaseDrawing();
    Gdiplus::GdiplusShutdown(token);
}

} // namespace

} // namespace dm::bench

int main() {
    try {
        const dm::platform::WindowSystem windows;
        dm::bench::measure();
    } catch (const std::exception &error) {
        std::fprintf(stderr, "dustmere_canvas_bench: %s\n", error.what());
        return 1;
    }
    return 0;
}
