#include "platform/linux/window/events.h"
#include "platform/linux/window/place.h"
#include "platform/linux/window/x11.h"

#include <QBitmap>
#include <QPaintEvent>
#include <QPainter>
#include <QWindow>

#include <utility>

namespace dm::platform {
namespace {

/// Qt paints one widget at a time.
int paintsUnderWay = 0;

/// The client's place in the coordinates of the window.
QPoint clientOrigin(const Pane &pane) {
    return pane.client == pane.widget ? QPoint(0, 0) : pane.client->pos();
}

/// What is shown of a layered window and of its children is what UpdateLayeredWindow was given, and nothing else.
bool isLayered(HWND window) {
    return (windowOf(topLevelOf(window))->extendedStyle & WS_EX_LAYERED) != 0;
}

void paintLayer(const Pane &pane, const QRegion &region) {
    QPainter painter(pane.widget);
    painter.setClipRegion(region);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(region.boundingRect(), Qt::transparent);
    painter.drawImage(0, 0, pane.layer);
}

void invalidate(Pane &pane, const RECT *rect, bool erase) {
    const QRect whole = pane.client->rect();
    const QRect part = rect == nullptr ? whole : rectOf(*rect).translated(-clientOrigin(pane)) & whole;
    if (part.isEmpty())
        return;
    pane.invalid += part;
    pane.erase = pane.erase || erase;
    pane.client->update(part);
}

} // namespace

bool handlePaint(HWND window, QObject *object, QPaintEvent &event) {
    Pane *pane = paneOf(window);
    const bool layered = isLayered(window);
    const bool asked = pane->invalid.intersects(event.region());
    pane->invalid -= event.region();
    if (pane->askedPlace && pane->widget->isWindow() && pane->widget->windowHandle()->isExposed()) {
        pane->askedPlace.reset();
        QWindow *seen = pane->widget->windowHandle();
        QMetaObject::invokeMethod(
            seen, [seen] { correctPlace(*seen); }, Qt::QueuedConnection);
    }
    if (pane->askedSize.isValid())
        QMetaObject::invokeMethod(
            pane->widget, [window] { settleFrame(window); }, Qt::QueuedConnection);
    if (!layered || asked) {
        ++paintsUnderWay;
        deliver(window, WM_PAINT, 0, 0, object, &event);
        --paintsUnderWay;
    }
    pane = paneOf(window);
    if (layered && pane != nullptr && pane->widget->isWindow())
        paintLayer(*pane, event.region());
    return true;
}

} // namespace dm::platform

using namespace dm::platform;

BOOL WINAPI InvalidateRect(HWND window, const RECT *rect, BOOL erase) {
    Pane *pane = paneOf(window);
    if (pane == nullptr)
        return FALSE;
    invalidate(*pane, rect, erase != FALSE);
    return TRUE;
}

BOOL WINAPI RedrawWindow(HWND window, const RECT *rect, HRGN region, UINT flags) {
    Pane *pane = paneOf(window);
    if (pane == nullptr || region != nullptr || (flags & RDW_INVALIDATE) == 0)
        return FALSE;
    invalidate(*pane, rect, (flags & RDW_ERASE) != 0);
    if ((flags & RDW_FRAME) != 0)
        pane->widget->update();
    return TRUE;
}

BOOL WINAPI UpdateWindow(HWND window) {
    Pane *pane = paneOf(window);
    if (pane == nullptr)
        return FALSE;
    // What is asked for inside a paint follows it.
    if (!pane->invalid.isEmpty() && paintsUnderWay == 0)
        pane->client->repaint(pane->invalid);
    return TRUE;
}

HDC WINAPI BeginPaint(HWND window, PAINTSTRUCT *paint) {
    Delivery *delivery = deliveryOf(window, WM_PAINT);
    Pane *pane = paneOf(window);
    if (delivery == nullptr || pane == nullptr || delivery->passedOn)
        return nullptr;
    const QRegion region = static_cast<QPaintEvent *>(delivery->event)->region();
    delivery->paint = std::make_unique<PaintDc>(*pane->client, isLayered(window) ? QRegion() : region);
    *paint = {};
    paint->hdc = delivery->paint->get();
    paint->rcPaint = rectOf(region.boundingRect());
    if (std::exchange(pane->erase, false))
        paint->fErase =
            SendMessageW(window, WM_ERASEBKGND, reinterpret_cast<WPARAM>(paint->hdc), 0) == 0 ? TRUE : FALSE;
    return paint->hdc;
}

BOOL WINAPI EndPaint(HWND window, const PAINTSTRUCT *) {
    if (Delivery *delivery = deliveryOf(window, WM_PAINT))
        delivery->paint.reset();
    return TRUE;
}

BOOL WINAPI UpdateLayeredWindow(HWND window, HDC, POINT *position, SIZE *size, HDC source, POINT *sourcePosition,
                                COLORREF, BLENDFUNCTION *blend, DWORD flags) {
    Pane *pane = paneOf(window);
    const QImage image = imageOf(source);
    if (pane == nullptr || !isLayered(window) || image.isNull() || size == nullptr || sourcePosition == nullptr ||
        flags != ULW_ALPHA || blend == nullptr || blend->AlphaFormat != AC_SRC_ALPHA ||
        blend->SourceConstantAlpha != 255) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    QImage layer = image.copy(sourcePosition->x, sourcePosition->y, size->cx, size->cy);
    layer.reinterpretAsFormat(QImage::Format_ARGB32_Premultiplied);
    if (position != nullptr)
        pane->widget->move(position->x, position->y);
    pane->widget->resize(size->cx, size->cy);
    // Where it is transparent through and through it lets clicks through.
    pane->widget->setMask(QPixmap::fromImage(layer).createMaskFromColor(Qt::transparent, Qt::MaskInColor));
    // Alpha that does not show would leave the premultiplied colours, darker the more transparent they are.
    pane->layer = alphaShows() ? std::move(layer) : layer.convertToFormat(QImage::Format_RGB32);
    if (paintsUnderWay == 0)
        pane->widget->update();
    return TRUE;
}
