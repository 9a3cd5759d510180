#include "platform/linux/win32_gdiplus.h"
#include "platform/linux/window/device_context.h"
#include "platform/linux/window/fonts.h"

#include <QPainterPath>

#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>

namespace Gdiplus {

class GpGraphics {
public:
    GpGraphics(HDC target, QRegion clipNow) : dc(target), clip(std::move(clipNow)) {}
    HDC dc;
    QRegion clip;
    QTransform world;
    bool antialias = false;
};

class GpPen {
public:
    QColor color;
    double width = 1;
    LineCap startCap = LineCapFlat;
    LineCap endCap = LineCapFlat;
    DashStyle dashStyle = DashStyleSolid;
};

class GpPath {
public:
    QPainterPath path;
};

class GpFontFamily {};

namespace {

/// What GdipCreateSolidFill makes, which is the only kind of brush.
class SolidFill final : public GpSolidFill {
public:
    explicit SolidFill(const QColor &fill) : color(fill) {}
    QColor color;
};

int startCount = 0;

QColor colorOf(ARGB argb) {
    return QColor::fromRgba(argb);
}

/// Makes an object of the program's, if the library is started.
template <typename Type>
Status make(Type **place, Type value) {
    if (place == nullptr)
        return InvalidParameter;
    *place = nullptr;
    if (startCount == 0)
        return GdiplusNotInitialized;
    *place = new Type(std::move(value));
    return Ok;
}

template <typename Type>
Status destroy(Type *object) {
    if (object == nullptr)
        return InvalidParameter;
    delete object;
    return Ok;
}

/// The pen as a painter takes it. The width is in the units before the transform, which the painter applies.
QPen painterPen(const GpPen &pen, const QTransform &world) {
    const double scale = std::sqrt(std::abs(world.determinant()));
    const double thinnest = scale > 0 ? 1 / scale : 1;
    QPen result(pen.color, std::max(pen.width, thinnest), Qt::SolidLine,
                pen.startCap == LineCapRound ? Qt::RoundCap : Qt::FlatCap, Qt::MiterJoin);
    if (pen.dashStyle == DashStyleDot)
        result.setDashPattern({1, 1});
    return result;
}

/// Draws with the painter of the graphics' device context, if anything can be seen of it.
template <typename Draw>
Status paint(const GpGraphics &graphics, const QPen &pen, const QBrush &brush, Draw draw) {
    dm::platform::DeviceContext *context = dm::platform::deviceContext(graphics.dc);
    if (context == nullptr)
        return InvalidParameter;
    // A painter has the centres of pixels between whole coordinates.
    const QTransform transform = graphics.world * QTransform::fromTranslate(0.5, 0.5);
    QPainter *painter = dm::platform::preparedPainter(
        *context, {.transform = transform, .clip = graphics.clip, .antialias = graphics.antialias});
    if (painter == nullptr)
        return Ok;
    painter->setPen(pen);
    painter->setBrush(brush);
    draw(*painter);
    return Ok;
}

bool areFinite(std::initializer_list<REAL> values) {
    return std::all_of(values.begin(), values.end(), [](REAL value) { return std::isfinite(value); });
}

template <typename Draw>
Status stroke(const GpGraphics *graphics, const GpPen *pen, std::initializer_list<REAL> values, Draw draw) {
    if (graphics == nullptr || pen == nullptr || !areFinite(values))
        return InvalidParameter;
    if (pen->startCap != pen->endCap)
        return NotImplemented;
    return paint(*graphics, painterPen(*pen, graphics->world), Qt::NoBrush, draw);
}

template <typename Draw>
Status fill(const GpGraphics *graphics, const GpBrush *brush, std::initializer_list<REAL> values, Draw draw) {
    if (graphics == nullptr || brush == nullptr || !areFinite(values))
        return InvalidParameter;
    return paint(*graphics, Qt::NoPen, static_cast<const SolidFill *>(brush)->color, draw);
}

QRectF box(REAL x, REAL y, REAL width, REAL height) {
    return {x, y, width, height};
}

} // namespace

extern "C" {

Status WINAPI GdiplusStartup(ULONG_PTR *token, const GdiplusStartupInput *input, GdiplusStartupOutput *) {
    if (token == nullptr || input == nullptr || input->GdiplusVersion != 1 || input->SuppressBackgroundThread != FALSE)
        return InvalidParameter;
    *token = static_cast<ULONG_PTR>(++startCount);
    return Ok;
}

void WINAPI GdiplusShutdown(ULONG_PTR) {
    startCount = std::max(startCount - 1, 0);
}
}

namespace DllExports {

extern "C" {

GpStatus WINAPI GdipCreateFromHDC(HDC dc, GpGraphics **graphics) {
    const dm::platform::DeviceContext *context = dm::platform::deviceContext(dc);
    if (context == nullptr)
        return InvalidParameter;
    return make(graphics, GpGraphics(dc, context->state.clip));
}

GpStatus WINAPI GdipDeleteGraphics(GpGraphics *graphics) {
    return destroy(graphics);
}

GpStatus WINAPI GdipScaleWorldTransform(GpGraphics *graphics, REAL x, REAL y, GpMatrixOrder order) {
    if (graphics == nullptr || order != MatrixOrderPrepend || !areFinite({x, y}))
        return InvalidParameter;
    graphics->world.scale(x, y);
    return Ok;
}

GpStatus WINAPI GdipSetSmoothingMode(GpGraphics *graphics, SmoothingMode mode) {
    if (graphics == nullptr || mode != SmoothingModeAntiAlias)
        return InvalidParameter;
    graphics->antialias = true;
    return Ok;
}

GpStatus WINAPI GdipFlush(GpGraphics *graphics, GpFlushIntention) {
    return graphics == nullptr ? InvalidParameter : Ok;
}

GpStatus WINAPI GdipCreatePen1(ARGB color, REAL width, GpUnit unit, GpPen **pen) {
    if (unit != UnitWorld || !std::isfinite(width) || width < 0)
        return InvalidParameter;
    GpPen made;
    made.color = colorOf(color);
    made.width = width;
    return make(pen, made);
}

GpStatus WINAPI GdipDeletePen(GpPen *pen) {
    return destroy(pen);
}

GpStatus WINAPI GdipSetPenStartCap(GpPen *pen, GpLineCap cap) {
    if (pen == nullptr || (cap != LineCapFlat && cap != LineCapRound))
        return InvalidParameter;
    pen->startCap = cap;
    return Ok;
}

GpStatus WINAPI GdipSetPenEndCap(GpPen *pen, GpLineCap cap) {
    if (pen == nullptr || (cap != LineCapFlat && cap != LineCapRound))
        return InvalidParameter;
    pen->endCap = cap;
    return Ok;
}

GpStatus WINAPI GdipSetPenDashStyle(GpPen *pen, GpDashStyle style) {
    if (pen == nullptr || (style != DashStyleSolid && style != DashStyleDot))
        return InvalidParameter;
    pen->dashStyle = style;
    return Ok;
}

GpStatus WINAPI GdipCreateSolidFill(ARGB color, GpSolidFill **brush) {
    if (brush == nullptr)
        return InvalidParameter;
    SolidFill *made = nullptr;
    const Status status = make(&made, SolidFill(colorOf(color)));
    *brush = made;
    return status;
}

GpStatus WINAPI GdipDeleteBrush(GpBrush *brush) {
    return destroy(static_cast<SolidFill *>(brush));
}

GpStatus WINAPI GdipCreatePath(GpFillMode mode, GpPath **path) {
    if (mode != FillModeAlternate)
        return InvalidParameter;
    return make(path, GpPath{});
}

GpStatus WINAPI GdipDeletePath(GpPath *path) {
    return destroy(path);
}

GpStatus WINAPI GdipAddPathArc(GpPath *path, REAL x, REAL y, REAL width, REAL height, REAL start, REAL sweep) {
    if (path == nullptr || !areFinite({x, y, width, height, start, sweep}) || width <= 0 || height <= 0)
        return InvalidParameter;
    const QRectF ellipse = box(x, y, width, height);
    // A painter path would begin at the origin.
    if (path->path.isEmpty())
        path->path.arcMoveTo(ellipse, -start);
    path->path.arcTo(ellipse, -start, -std::clamp(sweep, -360.0F, 360.0F));
    return Ok;
}

GpStatus WINAPI GdipClosePathFigure(GpPath *path) {
    if (path == nullptr)
        return InvalidParameter;
    path->path.closeSubpath();
    return Ok;
}

GpStatus WINAPI GdipFillPath(GpGraphics *graphics, GpBrush *brush, GpPath *path) {
    if (path == nullptr)
        return InvalidParameter;
    return fill(graphics, brush, {}, [path](QPainter &painter) { painter.drawPath(path->path); });
}

GpStatus WINAPI GdipDrawPath(GpGraphics *graphics, GpPen *pen, GpPath *path) {
    if (path == nullptr)
        return InvalidParameter;
    return stroke(graphics, pen, {}, [path](QPainter &painter) { painter.drawPath(path->path); });
}

GpStatus WINAPI GdipDrawLine(GpGraphics *graphics, GpPen *pen, REAL x1, REAL y1, REAL x2, REAL y2) {
    return stroke(graphics, pen, {x1, y1, x2, y2},
                  [=](QPainter &painter) { painter.drawLine(QPointF(x1, y1), QPointF(x2, y2)); });
}

GpStatus WINAPI GdipDrawArc(GpGraphics *graphics, GpPen *pen, REAL x, REAL y, REAL width, REAL height, REAL start,
                            REAL sweep) {
    return stroke(graphics, pen, {x, y, width, height, start, sweep}, [=](QPainter &painter) {
        QPainterPath arc;
        arc.arcMoveTo(box(x, y, width, height), -start);
        arc.arcTo(box(x, y, width, height), -start, -std::clamp(sweep, -360.0F, 360.0F));
        painter.drawPath(arc);
    });
}

GpStatus WINAPI GdipDrawRectangle(GpGraphics *graphics, GpPen *pen, REAL x, REAL y, REAL width, REAL height) {
    return stroke(graphics, pen, {x, y, width, height},
                  [=](QPainter &painter) { painter.drawRect(box(x, y, width, height)); });
}

GpStatus WINAPI GdipDrawEllipse(GpGraphics *graphics, GpPen *pen, REAL x, REAL y, REAL width, REAL height) {
    return stroke(graphics, pen, {x, y, width, height},
                  [=](QPainter &painter) { painter.drawEllipse(box(x, y, width, height)); });
}

GpStatus WINAPI GdipFillEllipse(GpGraphics *graphics, GpBrush *brush, REAL x, REAL y, REAL width, REAL height) {
    return fill(graphics, brush, {x, y, width, height},
                [=](QPainter &painter) { painter.drawEllipse(box(x, y, width, height)); });
}

GpStatus WINAPI GdipCreateFontFamilyFromName(const WCHAR *name, GpFontCollection *collection, GpFontFamily **family) {
    if (name == nullptr || collection != nullptr || family == nullptr)
        return InvalidParameter;
    *family = nullptr;
    if (startCount == 0)
        return GdiplusNotInitialized;
    return dm::platform::isInstalledFamily(QString::fromUtf16(name)) ? make(family, GpFontFamily{})
                                                                     : FontFamilyNotFound;
}

GpStatus WINAPI GdipDeleteFontFamily(GpFontFamily *family) {
    return destroy(family);
}
}

} // namespace DllExports

} // namespace Gdiplus
