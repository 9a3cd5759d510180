#include "platform/linux/window/device_context.h"
#include "platform/linux/window/drawing_objects.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <unordered_map>

namespace dm::platform {

namespace {

std::unordered_map<const void *, std::unique_ptr<DrawingObject>> &objects() {
    static std::unordered_map<const void *, std::unique_ptr<DrawingObject>> all;
    return all;
}

struct StockObject {
    int index;
    HGDIOBJ handle;
};

constexpr int startBitmapIndex = -1;

const std::vector<StockObject> &stockObjects() {
    static const std::vector<StockObject> all = {
        {startBitmapIndex, newDrawingObject(Bitmap{})},
        {BLACK_PEN, newDrawingObject(Pen{.color = Qt::black, .width = 1})},
        {NULL_PEN, newDrawingObject(Pen{})},
        {SYSTEM_FONT, newDrawingObject(Font{})},
        {DC_BRUSH, newDrawingObject(Brush{.color = {}, .ofContext = true})},
    };
    return all;
}

HGDIOBJ stockObject(int index) {
    for (const StockObject &object : stockObjects()) {
        if (object.index == index)
            return object.handle;
    }
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
}

bool isStock(HGDIOBJ handle) {
    const auto is = [handle](const StockObject &object) { return object.handle == handle; };
    return std::any_of(stockObjects().begin(), stockObjects().end(), is);
}

/// What CreateDIBSection knows.
bool isKnownFormat(const BITMAPINFO &info, UINT usage, HANDLE section) {
    constexpr LONG longest = 32767; // a painter's coordinates do not reach further
    const BITMAPINFOHEADER &header = info.bmiHeader;
    return usage == DIB_RGB_COLORS && section == nullptr && header.biSize == sizeof(header) && header.biPlanes == 1 &&
           header.biBitCount == 32 && header.biCompression == BI_RGB && header.biWidth > 0 &&
           header.biWidth <= longest && header.biHeight < 0 && header.biHeight >= -longest;
}

} // namespace

void *newHandleValue() {
    static std::uintptr_t last = 0x10000; // below are the numbers of system colours
    last += 4;
    return reinterpret_cast<void *>(last);
}

DrawingObject *drawingObject(HGDIOBJ handle) {
    const auto found = objects().find(handle);
    if (found != objects().end())
        return found->second.get();
    SetLastError(ERROR_INVALID_HANDLE);
    return nullptr;
}

HGDIOBJ newDrawingObject(DrawingObject object) {
    HGDIOBJ handle = newHandleValue();
    objects().emplace(handle, std::make_unique<DrawingObject>(std::move(object)));
    return handle;
}

HGDIOBJ startBitmap() {
    return stockObject(startBitmapIndex);
}

QColor colorOf(HBRUSH brush) {
    const Brush *known = drawingObjectOf<Brush>(brush);
    return known == nullptr ? QColor() : known->color;
}

QColor colorOf(COLORREF color) {
    return {GetRValue(color), GetGValue(color), GetBValue(color)};
}

COLORREF colorRefOf(const QColor &color) {
    return RGB(color.red(), color.green(), color.blue());
}

QImage imageOf(HBITMAP bitmap) {
    const Bitmap *known = drawingObjectOf<Bitmap>(bitmap);
    return known == nullptr ? QImage() : known->image.copy();
}

} // namespace dm::platform

using namespace dm::platform;

HBITMAP WINAPI CreateDIBSection(HDC, const BITMAPINFO *info, UINT usage, void **bits, HANDLE section, DWORD) {
    if (bits != nullptr)
        *bits = nullptr;
    if (info == nullptr || bits == nullptr || !isKnownFormat(*info, usage, section)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    const auto width = static_cast<int>(info->bmiHeader.biWidth);
    const auto height = static_cast<int>(-info->bmiHeader.biHeight);
    void *pixels = std::calloc(static_cast<std::size_t>(width) * height, 4);
    if (pixels == nullptr) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    *bits = pixels;
    QImage image(static_cast<uchar *>(pixels), width, height, width * 4, QImage::Format_RGB32, std::free, pixels);
    return static_cast<HBITMAP>(newDrawingObject(Bitmap{.image = std::move(image), .selectedInto = nullptr}));
}

HBRUSH WINAPI CreateSolidBrush(COLORREF color) {
    return static_cast<HBRUSH>(newDrawingObject(Brush{.color = colorOf(color), .ofContext = false}));
}

HPEN WINAPI CreatePen(int style, int width, COLORREF color) {
    constexpr int widest = 32767;
    if (style != PS_SOLID || width < 0 || width > widest) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    return static_cast<HPEN>(newDrawingObject(Pen{.color = colorOf(color), .width = std::max(width, 1)}));
}

HGDIOBJ WINAPI GetStockObject(int index) {
    if (index != startBitmapIndex)
        return stockObject(index);
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
}

BOOL WINAPI DeleteObject(HGDIOBJ object) {
    if (drawingObject(object) == nullptr)
        return FALSE;
    if (isStock(object))
        return TRUE;
    if (isSelected(object)) {
        SetLastError(ERROR_BUSY);
        return FALSE;
    }
    objects().erase(object);
    return TRUE;
}

int WINAPI GetObjectW(HANDLE object, int size, LPVOID buffer) {
    const Bitmap *bitmap = drawingObjectOf<Bitmap>(object);
    if (bitmap == nullptr)
        return 0;
    if (buffer == nullptr)
        return sizeof(BITMAP);
    if (size < static_cast<int>(sizeof(BITMAP))) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    BITMAP result = {};
    if (bitmap->image.isNull()) {
        result = {.bmType = 0,
                  .bmWidth = 1,
                  .bmHeight = 1,
                  .bmWidthBytes = 2,
                  .bmPlanes = 1,
                  .bmBitsPixel = 1,
                  .bmBits = nullptr};
    } else {
        const QImage &image = bitmap->image;
        result = {.bmType = 0,
                  .bmWidth = image.width(),
                  .bmHeight = image.height(),
                  .bmWidthBytes = static_cast<LONG>(image.bytesPerLine()),
                  .bmPlanes = 1,
                  .bmBitsPixel = 32,
                  .bmBits = const_cast<uchar *>(image.constBits())};
    }
    std::memcpy(buffer, &result, sizeof(result));
    return sizeof(result);
}
