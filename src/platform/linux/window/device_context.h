// What device contexts and drawing objects are made of.
#pragma once

#include "platform/linux/win32_gdi.h"

#include <QColor>
#include <QFont>
#include <QImage>
#include <QPainter>
#include <QRegion>
#include <QTransform>

#include <memory>
#include <optional>
#include <utility>
#include <variant>
#include <vector>

namespace dm::platform {

struct Bitmap {
    QImage image; ///< null for the one that a memory device context starts with
    HDC selectedInto = nullptr;
};

struct Brush {
    QColor color;
    bool ofContext = false; ///< DC_BRUSH: the colour is the device context's
};

struct Pen {
    QColor color; ///< invalid for NULL_PEN
    int width = 1;
};

struct Font {
    QFont font;
    int ascent = 0; ///< pixels, whatever fonts the characters of a text are really taken from
    int height = 0; ///< of a line, pixels; 0 for SYSTEM_FONT, which is only looked for when text is drawn in it
};

/// What a HGDIOBJ points to.
using DrawingObject = std::variant<Bitmap, Brush, Pen, Font>;

/// What SaveDC saves.
struct ContextState {
    QRegion clip; ///< within the device's bounds
    HGDIOBJ bitmap = nullptr;
    HGDIOBJ brush = nullptr;
    HGDIOBJ pen = nullptr;
    HGDIOBJ font = nullptr;
    QPoint position; ///< where the next line starts
    QColor brushColor = Qt::white;
    QColor textColor = Qt::black;
    QColor backColor = Qt::white;
    bool opaque = true;
};

/// What the painter needs for what is drawn next.
struct PainterState {
    QTransform transform; ///< to the coordinates of the device context
    QRegion clip;
    bool antialias = false;
};

struct DeviceContext {
    ContextState state;
    std::vector<ContextState> saved;
    QRect bounds;
    bool inMemory = false;
    /// Of a bitmap it is begun when it is first needed: what is only copied from needs none.
    std::optional<QPainter> ownPainter;
    QPainter *painter = nullptr;
    QTransform base; ///< what a painter that was handed in came with
    std::optional<PainterState> prepared;
};

/// A value for a handle that no other has had: one that is used after its object is gone finds nothing.
void *newHandleValue();

/// The object behind a handle if it is of the type asked for; otherwise null with ERROR_INVALID_HANDLE set.
DrawingObject *drawingObject(HGDIOBJ handle);
template <typename Type>
Type *drawingObjectOf(HGDIOBJ handle) {
    DrawingObject *object = drawingObject(handle);
    Type *value = object == nullptr ? nullptr : std::get_if<Type>(object);
    if (value == nullptr)
        SetLastError(ERROR_INVALID_HANDLE);
    return value;
}
HGDIOBJ newDrawingObject(DrawingObject object);
/// The bitmap of every memory device context that has been given no other.
HGDIOBJ startBitmap();
/// True while any device context holds it, in its state or in a saved one.
bool isSelected(HGDIOBJ object);

COLORREF colorRefOf(const QColor &color);

/// Null with ERROR_INVALID_HANDLE for what is no device context.
DeviceContext *deviceContext(HDC dc);

/// The context's painter with this state; null where nothing that is drawn could be seen.
QPainter *preparedPainter(DeviceContext &context, const PainterState &state);
/// With the state in which GDI draws: whole pixels within the context's clip.
QPainter *preparedPainter(DeviceContext &context);

/// The font that text is drawn in: the one selected, or that which every device context starts with.
const Font &fontIn(const DeviceContext &context);

} // namespace dm::platform
