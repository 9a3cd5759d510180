// The few figures that the program draws with GDI: on whole pixels, without smoothing.
#include "platform/linux/window/device_context.h"
#include "platform/linux/window/drawing_objects.h"

#include <QPen>

#include <utility>

namespace dm::platform {
namespace {

QColor brushColorIn(const DeviceContext &context) {
    const Brush *brush = drawingObjectOf<Brush>(context.state.brush);
    if (brush == nullptr)
        return {};
    return brush->ofContext ? context.state.brushColor : brush->color;
}

QColor penColorIn(const DeviceContext &context) {
    const Pen *pen = drawingObjectOf<Pen>(context.state.pen);
    if (pen == nullptr)
        return {};
    return pen->ofContext ? context.state.penColor : pen->color;
}

/// Draws once with brush and pen as they are selected.
template <typename Draw>
void drawFigure(DeviceContext &context, Draw draw) {
    QPainter *painter = preparedPainter(context);
    if (painter == nullptr)
        return;
    const QColor fill = brushColorIn(context);
    const QColor line = penColorIn(context);
    painter->save();
    painter->setBrush(fill.isValid() ? QBrush(fill) : QBrush(Qt::NoBrush));
    painter->setPen(line.isValid() ? QPen(line, 0) : QPen(Qt::NoPen));
    draw(*painter);
    painter->restore();
}

} // namespace
} // namespace dm::platform

using namespace dm::platform;

COLORREF WINAPI SetDCPenColor(HDC dc, COLORREF color) {
    DeviceContext *context = deviceContext(dc);
    if (context == nullptr)
        return CLR_INVALID;
    return colorRefOf(std::exchange(context->state.penColor, colorOf(color)));
}

BOOL WINAPI RoundRect(HDC dc, int left, int top, int right, int bottom, int width, int height) {
    DeviceContext *context = deviceContext(dc);
    if (context == nullptr)
        return FALSE;
    // Right and bottom are outside, and a figure without an outline lacks the pixels where that would be.
    const QRect area = QRect(left, top, right - left - 1, bottom - top - 1).normalized();
    drawFigure(*context, [&](QPainter &painter) { painter.drawRoundedRect(area, width / 2.0, height / 2.0); });
    return TRUE;
}

BOOL WINAPI MoveToEx(HDC dc, int x, int y, POINT *previous) {
    DeviceContext *context = deviceContext(dc);
    if (context == nullptr)
        return FALSE;
    const POINT old = std::exchange(context->state.position, POINT{x, y});
    if (previous != nullptr)
        *previous = old;
    return TRUE;
}

BOOL WINAPI LineTo(HDC dc, int x, int y) {
    DeviceContext *context = deviceContext(dc);
    if (context == nullptr)
        return FALSE;
    const POINT from = std::exchange(context->state.position, POINT{x, y});
    drawFigure(*context, [&](QPainter &painter) { painter.drawLine(from.x, from.y, x, y); });
    return TRUE;
}

BOOL WINAPI DrawFocusRect(HDC dc, const RECT *rect) {
    DeviceContext *context = deviceContext(dc);
    if (context == nullptr)
        return FALSE;
    const QRect ring(rect->left, rect->top, rect->right - rect->left - 1, rect->bottom - rect->top - 1);
    if (QPainter *painter = preparedPainter(*context); painter != nullptr && ring.isValid()) {
        painter->save();
        painter->setBrush(Qt::NoBrush);
        painter->setPen(QPen(Qt::white, 0, Qt::DotLine));
        painter->setCompositionMode(QPainter::RasterOp_SourceXorDestination);
        painter->drawRect(ring);
        painter->restore();
    }
    return TRUE;
}
