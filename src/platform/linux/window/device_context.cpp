#include "platform/linux/window/device_context.h"
#include "platform/linux/window/drawing_objects.h"

#include <algorithm>
#include <unordered_map>

namespace dm::platform {

namespace {

std::unordered_map<HDC, std::unique_ptr<DeviceContext>> &contexts() {
    static std::unordered_map<HDC, std::unique_ptr<DeviceContext>> all;
    return all;
}

HDC newContext(std::unique_ptr<DeviceContext> context) {
    context->state.brush = GetStockObject(DC_BRUSH);
    context->state.pen = GetStockObject(BLACK_PEN);
    context->state.font = GetStockObject(SYSTEM_FONT);
    auto *dc = static_cast<HDC>(newHandleValue());
    contexts().emplace(dc, std::move(context));
    return dc;
}

void endPainting(DeviceContext &context) {
    context.ownPainter.reset();
    context.painter = nullptr;
    context.prepared.reset();
}

const QImage *imageIn(const DeviceContext &context) {
    const Bitmap *bitmap = context.inMemory ? drawingObjectOf<Bitmap>(context.state.bitmap) : nullptr;
    return bitmap == nullptr || bitmap->image.isNull() ? nullptr : &bitmap->image;
}

int kindOf(const QRegion &region) {
    constexpr int complexRegion = 3;
    return region.isEmpty() ? NULLREGION : region.rectCount() == 1 ? SIMPLEREGION : complexRegion;
}

QColor fillColor(const DeviceContext &context, const Brush &brush) {
    return brush.ofContext ? context.state.brushColor : brush.color;
}

/// The selected pen; lines end before their last pixel.
QPen selectedPen(const DeviceContext &context) {
    const Pen *pen = drawingObjectOf<Pen>(context.state.pen);
    return pen == nullptr || !pen->color.isValid() ? QPen(Qt::NoPen)
                                                   : QPen(pen->color, pen->width, Qt::SolidLine, Qt::FlatCap);
}

HGDIOBJ selectBitmap(HDC dc, DeviceContext &context, HGDIOBJ handle, Bitmap &bitmap) {
    if (!context.inMemory || (bitmap.selectedInto != nullptr && bitmap.selectedInto != dc)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    endPainting(context);
    if (Bitmap *old = drawingObjectOf<Bitmap>(context.state.bitmap))
        old->selectedInto = nullptr;
    // The one that every context starts with may be selected into any number of them.
    if (!bitmap.image.isNull())
        bitmap.selectedInto = dc;
    context.bounds = bitmap.image.isNull() ? QRect(0, 0, 1, 1) : bitmap.image.rect();
    context.state.clip = context.bounds;
    return std::exchange(context.state.bitmap, handle);
}

} // namespace

DeviceContext *deviceContext(HDC dc) {
    const auto found = contexts().find(dc);
    if (found != contexts().end())
        return found->second.get();
    SetLastError(ERROR_INVALID_HANDLE);
    return nullptr;
}

bool isSelected(HGDIOBJ object) {
    const auto holds = [object](const ContextState &state) {
        return state.bitmap == object || state.brush == object || state.pen == object || state.font == object;
    };
    for (const auto &[dc, context] : contexts()) {
        if (holds(context->state) || std::any_of(context->saved.begin(), context->saved.end(), holds))
            return true;
    }
    return false;
}

QPainter *preparedPainter(DeviceContext &context, const PainterState &state) {
    if (state.clip.isEmpty())
        return nullptr;
    if (context.painter == nullptr) {
        Bitmap *bitmap = drawingObjectOf<Bitmap>(context.state.bitmap);
        if (bitmap == nullptr || bitmap->image.isNull())
            return nullptr;
        context.painter = &context.ownPainter.emplace(&bitmap->image);
    }

    QPainter &painter = *context.painter;
    const bool fresh = !context.prepared;
    if (fresh || context.prepared->clip != state.clip) {
        painter.setWorldTransform(context.base);
        painter.setClipRegion(state.clip);
        painter.setWorldTransform(state.transform * context.base);
    } else if (context.prepared->transform != state.transform) {
        painter.setWorldTransform(state.transform * context.base);
    }
    if (fresh || context.prepared->antialias != state.antialias)
        painter.setRenderHint(QPainter::Antialiasing, state.antialias);
    context.prepared = state;
    return &painter;
}

QPainter *preparedPainter(DeviceContext &context) {
    return preparedPainter(context, {.transform = {}, .clip = context.state.clip, .antialias = false});
}

PaintDc::PaintDc(QPaintDevice &device, const QRegion &clip) {
    auto context = std::make_unique<DeviceContext>();
    context->bounds = QRect(0, 0, device.width(), device.height());
    context->state.clip = clip & context->bounds;
    context->painter = &context->ownPainter.emplace(&device);
    dc_ = newContext(std::move(context));
}

PaintDc::PaintDc(QPainter &painter, const QRegion &clip) {
    auto context = std::make_unique<DeviceContext>();
    painter.save();
    context->base = painter.worldTransform();
    context->state.clip = painter.hasClipping() ? clip & painter.clipRegion() : clip;
    context->bounds = context->state.clip.boundingRect();
    context->painter = &painter;
    dc_ = newContext(std::move(context));
}

PaintDc::~PaintDc() {
    DeviceContext &context = *contexts().at(dc_);
    if (!context.ownPainter)
        context.painter->restore();
    contexts().erase(dc_);
}

QColor textColorOf(HDC dc) {
    const DeviceContext *context = deviceContext(dc);
    return context == nullptr ? QColor() : context->state.textColor;
}

QColor backColorOf(HDC dc) {
    const DeviceContext *context = deviceContext(dc);
    return context == nullptr ? QColor() : context->state.backColor;
}

QImage imageOf(HDC dc) {
    const DeviceContext *context = deviceContext(dc);
    const QImage *image = context == nullptr ? nullptr : imageIn(*context);
    return image == nullptr ? QImage() : image->copy();
}

} // namespace dm::platform

using namespace dm::platform;

HDC WINAPI CreateCompatibleDC(HDC dc) {
    if (dc != nullptr && deviceContext(dc) == nullptr)
        return nullptr;
    auto context = std::make_unique<DeviceContext>();
    context->inMemory = true;
    context->bounds = QRect(0, 0, 1, 1);
    context->state.clip = context->bounds;
    context->state.bitmap = startBitmap();
    return newContext(std::move(context));
}

BOOL WINAPI DeleteDC(HDC dc) {
    const DeviceContext *context = deviceContext(dc);
    if (context == nullptr)
        return FALSE;
    if (!context->inMemory) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    if (Bitmap *bitmap = drawingObjectOf<Bitmap>(context->state.bitmap))
        bitmap->selectedInto = nullptr;
    contexts().erase(dc);
    return TRUE;
}

HGDIOBJ WINAPI SelectObject(HDC dc, HGDIOBJ object) {
    DeviceContext *context = deviceContext(dc);
    DrawingObject *selected = context == nullptr ? nullptr : drawingObject(object);
    if (selected == nullptr)
        return nullptr;
    if (auto *bitmap = std::get_if<Bitmap>(selected))
        return selectBitmap(dc, *context, object, *bitmap);
    if (std::holds_alternative<Brush>(*selected))
        return std::exchange(context->state.brush, object);
    if (std::holds_alternative<Pen>(*selected))
        return std::exchange(context->state.pen, object);
    return std::exchange(context->state.font, object);
}

int WINAPI SaveDC(HDC dc) {
    DeviceContext *context = deviceContext(dc);
    if (context == nullptr)
        return 0;
    context->saved.push_back(context->state);
    return static_cast<int>(context->saved.size());
}

BOOL WINAPI RestoreDC(HDC dc, int saved) {
    DeviceContext *context = deviceContext(dc);
    if (context == nullptr)
        return FALSE;
    const auto count = static_cast<int>(context->saved.size());
    const int index = saved < 0 ? count + saved : saved - 1;
    if (index < 0 || index >= count) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    const ContextState state = context->saved[static_cast<std::size_t>(index)];
    context->saved.resize(static_cast<std::size_t>(index));
    if (state.bitmap != context->state.bitmap)
        SelectObject(dc, state.bitmap);
    context->state = state;
    return TRUE;
}

int WINAPI GetClipBox(HDC dc, RECT *box) {
    const DeviceContext *context = deviceContext(dc);
    if (context == nullptr)
        return 0;
    const QRect bounds = context->state.clip.boundingRect();
    *box = {bounds.left(), bounds.top(), bounds.left() + bounds.width(), bounds.top() + bounds.height()};
    return kindOf(context->state.clip);
}

int WINAPI IntersectClipRect(HDC dc, int left, int top, int right, int bottom) {
    DeviceContext *context = deviceContext(dc);
    if (context == nullptr)
        return 0;
    context->state.clip &= QRect(QPoint(left, top), QPoint(right - 1, bottom - 1)).normalized();
    return kindOf(context->state.clip);
}

BOOL WINAPI BitBlt(HDC to, int x, int y, int width, int height, HDC from, int fromX, int fromY, DWORD operation) {
    DeviceContext *target = deviceContext(to);
    const DeviceContext *source = target == nullptr ? nullptr : deviceContext(from);
    if (source == nullptr)
        return FALSE;
    const QImage *image = imageIn(*source);
    if (operation != SRCCOPY || image == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    const QRect wanted(fromX, fromY, width, height);
    const QRect part = wanted & image->rect();
    QPainter *painter = part.isEmpty() ? nullptr : preparedPainter(*target);
    if (painter == nullptr)
        return TRUE;
    const QPoint place = QPoint(x, y) + (part.topLeft() - wanted.topLeft());
    if (target == source)
        painter->drawImage(place, image->copy(part));
    else
        painter->drawImage(place, *image, part);
    return TRUE;
}

int WINAPI FillRect(HDC dc, const RECT *rect, HBRUSH brush) {
    DeviceContext *context = deviceContext(dc);
    const Brush *fill = context == nullptr ? nullptr : drawingObjectOf<Brush>(brush);
    if (fill == nullptr)
        return 0;
    const QColor color = fillColor(*context, *fill);
    const QRect area(rect->left, rect->top, rect->right - rect->left, rect->bottom - rect->top);
    if (QPainter *painter = area.isEmpty() ? nullptr : preparedPainter(*context))
        painter->fillRect(area, color);
    return 1;
}

BOOL WINAPI RoundRect(HDC dc, int left, int top, int right, int bottom, int width, int height) {
    DeviceContext *context = deviceContext(dc);
    const Brush *brush = context == nullptr ? nullptr : drawingObjectOf<Brush>(context->state.brush);
    if (brush == nullptr)
        return FALSE;
    const QRectF area(left, top, right - left - 1, bottom - top - 1);
    QPainter *painter = area.isEmpty() ? nullptr : preparedPainter(*context);
    if (painter != nullptr) {
        painter->setPen(selectedPen(*context));
        painter->setBrush(fillColor(*context, *brush));
        painter->drawRoundedRect(area, width / 2.0, height / 2.0);
    }
    return TRUE;
}

BOOL WINAPI LineTo(HDC dc, int x, int y) {
    DeviceContext *context = deviceContext(dc);
    if (context == nullptr)
        return FALSE;
    const QPoint start = std::exchange(context->state.position, QPoint(x, y));
    if (QPainter *painter = preparedPainter(*context)) {
        painter->setPen(selectedPen(*context));
        painter->drawLine(start, context->state.position);
    }
    return TRUE;
}

BOOL WINAPI MoveToEx(HDC dc, int x, int y, POINT *previous) {
    DeviceContext *context = deviceContext(dc);
    if (context == nullptr)
        return FALSE;
    const QPoint before = std::exchange(context->state.position, QPoint(x, y));
    if (previous != nullptr)
        *previous = {before.x(), before.y()};
    return TRUE;
}

BOOL WINAPI DrawFocusRect(HDC dc, const RECT *rect) {
    DeviceContext *context = deviceContext(dc);
    if (context == nullptr)
        return FALSE;
    const QRect frame(rect->left, rect->top, rect->right - rect->left - 1, rect->bottom - rect->top - 1);
    QPainter *painter = frame.isEmpty() ? nullptr : preparedPainter(*context);
    if (painter != nullptr) {
        QPen dots(Qt::white, 1, Qt::CustomDashLine, Qt::FlatCap);
        dots.setDashPattern({1, 1});
        painter->setPen(dots);
        painter->setBrush(Qt::NoBrush);
        painter->setCompositionMode(QPainter::RasterOp_SourceXorDestination);
        painter->drawRect(frame);
        painter->setCompositionMode(QPainter::CompositionMode_SourceOver);
    }
    return TRUE;
}

COLORREF WINAPI SetDCBrushColor(HDC dc, COLORREF color) {
    DeviceContext *context = deviceContext(dc);
    if (context == nullptr)
        return CLR_INVALID;
    return colorRefOf(std::exchange(context->state.brushColor, colorOf(color)));
}

COLORREF WINAPI SetTextColor(HDC dc, COLORREF color) {
    DeviceContext *context = deviceContext(dc);
    if (context == nullptr)
        return CLR_INVALID;
    return colorRefOf(std::exchange(context->state.textColor, colorOf(color)));
}

COLORREF WINAPI SetBkColor(HDC dc, COLORREF color) {
    DeviceContext *context = deviceContext(dc);
    if (context == nullptr)
        return CLR_INVALID;
    return colorRefOf(std::exchange(context->state.backColor, colorOf(color)));
}

int WINAPI SetBkMode(HDC dc, int mode) {
    DeviceContext *context = deviceContext(dc);
    if (context == nullptr)
        return 0;
    if (mode != TRANSPARENT && mode != OPAQUE) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    return std::exchange(context->state.opaque, mode == OPAQUE) ? OPAQUE : TRANSPARENT;
}

UINT WINAPI SetTextAlign(HDC dc, UINT align) {
    if (deviceContext(dc) == nullptr)
        return GDI_ERROR;
    if (align != TA_LEFT) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return GDI_ERROR;
    }
    return TA_LEFT;
}

BOOL WINAPI GdiFlush() {
    return TRUE;
}
