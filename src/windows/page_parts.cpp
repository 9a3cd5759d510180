#include "windows/page_parts.h"

#include "i18n/format.h"
#include "i18n/language.h"
#include "platform/places.h"

#include <algorithm>
#include <cmath>

using namespace Gdiplus::DllExports;

namespace dm {
namespace {

constexpr double wholeCircle = 359.999;
constexpr float fromTheTop = -90;

ui::Alignment alignmentOf(unsigned style) {
    if ((style & centredText) != 0)
        return ui::Alignment::Centered;
    return (style & trailingText) != 0 ? ui::Alignment::Trailing : ui::Alignment::Leading;
}

void queue(WStringView text, const Box &box, float size, ui::Argb color, unsigned style, bool translate) {
    ui::queueText(text, box.x, box.y, box.w, box.h, size, color, (style & boldText) != 0, alignmentOf(style), translate,
                  (style & middleText) != 0, (style & wrappedText) == 0);
}

/// A pen with round caps.
class RingPen {
public:
    RingPen(ui::Graphics &graphics, ui::Argb color, float width) {
        graphics.note(GdipCreatePen1(color, width, Gdiplus::UnitWorld, &pen_));
        graphics.note(GdipSetPenStartCap(pen_, Gdiplus::LineCapRound));
        graphics.note(GdipSetPenEndCap(pen_, Gdiplus::LineCapRound));
    }
    RingPen(const RingPen &) = delete;
    RingPen &operator=(const RingPen &) = delete;
    ~RingPen() { GdipDeletePen(pen_); }
    operator Gdiplus::GpPen *() const { return pen_; }

private:
    Gdiplus::GpPen *pen_ = nullptr;
};

} // namespace

void queueFinished(WStringView text, const Box &box, float size, ui::Argb color, unsigned style) {
    queue(text, box, size, color, style, false);
}

void queueLabel(WStringView source, const Box &box, float size, ui::Argb color, unsigned style) {
    queue(source, box, size, color, style, true);
}

Box mirrored(const Box &box, const Box &frame) {
    if (!isRightToLeft())
        return box;
    return {2 * frame.x + frame.w - box.x - box.w, box.y, box.w, box.h};
}

Box wholeCard(const ui::LayoutMetrics &metrics) {
    constexpr float top = 136;
    constexpr float strip = 53;
    return {metrics.contentLeft, top, metrics.width - metrics.contentLeft - 25, metrics.height - top - strip};
}

void drawCardBox(ui::Canvas &canvas, const Box &box) {
    ui::drawCard(canvas, box.x, box.y, box.w, box.h);
}

void drawDot(ui::Canvas &canvas, float x, float y, float diameter, ui::Argb color) {
    ui::fillRoundRect(canvas, x, y, diameter, diameter, diameter / 2, color, 0, 0);
}

void drawRing(ui::Canvas &canvas, float x, float y, float diameter, float penWidth, ui::Argb color) {
    ui::Graphics &graphics = canvas.graphics();
    const RingPen pen(graphics, color, penWidth);
    const float side = diameter - penWidth;
    graphics.note(GdipDrawEllipse(graphics.object, pen, x + penWidth / 2, y + penWidth / 2, side, side));
}

void drawRingPart(ui::Canvas &canvas, float x, float y, float diameter, float penWidth, ui::Argb color, double part) {
    const double degrees = 360 * part;
    if (!(degrees > 0))
        return;
    if (degrees >= wholeCircle) {
        drawRing(canvas, x, y, diameter, penWidth, color);
        return;
    }
    ui::Graphics &graphics = canvas.graphics();
    const RingPen pen(graphics, color, penWidth);
    const float side = diameter - penWidth;
    graphics.note(GdipDrawArc(graphics.object, pen, x + penWidth / 2, y + penWidth / 2, side, side, fromTheTop,
                              static_cast<float>(degrees)));
}

float usedShare(const DriveInfo &drive) {
    if (drive.totalBytes == 0 || drive.freeBytes > drive.totalBytes)
        return 0;
    return static_cast<float>(static_cast<double>(drive.totalBytes - drive.freeBytes) /
                              static_cast<double>(drive.totalBytes));
}

WString driveName(const DriveInfo &drive) {
    constexpr const WChar *leftToRightMark = W("\u200E");
    return leftToRightMark + shownPath(drive.root);
}

WString freeText(const DriveInfo &drive) {
    return formatSize(drive.freeBytes) + W(" ") + tr(W("свободно"));
}

WString spaceText(const DriveInfo &drive) {
    return freeText(drive) + W(" · ") + tr(W("Всего:")) + W(" ") + formatSize(drive.totalBytes);
}

} // namespace dm
