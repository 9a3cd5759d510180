#include "ui/scroll_bars.h"

#include "ui/canvas.h"

#include <memory>
#include <optional>
#include <type_traits>

namespace dm::ui {
namespace {

constexpr UINT_PTR subclassId = 8;
constexpr UINT_PTR trackingTimerId = 751;
constexpr UINT trackingMilliseconds = 16;
constexpr Argb ground = 0xFF000000;

/// Gives the window's device context back.
class WindowDc {
public:
    explicit WindowDc(HWND window) : window_(window), dc_(GetWindowDC(window)) {}
    WindowDc(const WindowDc &) = delete;
    WindowDc &operator=(const WindowDc &) = delete;
    ~WindowDc() {
        if (dc_ != nullptr)
            ReleaseDC(window_, dc_);
    }
    operator HDC() const { return dc_; }

private:
    HWND window_;
    HDC dc_;
};

struct ObjectDeleter {
    void operator()(HGDIOBJ object) const { DeleteObject(object); }
};
using PenOwner = std::unique_ptr<std::remove_pointer_t<HPEN>, ObjectDeleter>;

bool isEmpty(const RECT &rect) {
    return rect.left >= rect.right || rect.top >= rect.bottom;
}

/// What the window has to show of a scroll bar, in the window's coordinates; nothing for one that does not show.
std::optional<SCROLLBARINFO> visibleBar(HWND window, LONG object) {
    SCROLLBARINFO info = {};
    info.cbSize = sizeof(info);
    RECT frame = {};
    if (GetScrollBarInfo(window, object, &info) == FALSE || GetWindowRect(window, &frame) == FALSE)
        return std::nullopt;
    RECT &bar = info.rcScrollBar;
    if ((info.rgstate[0] & (STATE_SYSTEM_INVISIBLE | STATE_SYSTEM_OFFSCREEN)) != 0 || isEmpty(bar))
        return std::nullopt;
    bar = {bar.left - frame.left, bar.top - frame.top, bar.right - frame.left, bar.bottom - frame.top};
    return info;
}

bool hasThumb(const SCROLLBARINFO &info) {
    constexpr int wholeBar = 0;
    constexpr int thumb = 3;
    return info.xyThumbBottom > info.xyThumbTop &&
           ((info.rgstate[wholeBar] | info.rgstate[thumb]) & STATE_SYSTEM_UNAVAILABLE) == 0;
}

void drawThumb(HDC dc, const RECT &thumb, int radius, Argb color) {
    SelectObject(dc, GetStockObject(NULL_PEN));
    SelectObject(dc, GetStockObject(DC_BRUSH));
    SetDCBrushColor(dc, toColorRef(color));
    // Without a pen the figure ends one pixel before its right and bottom edges.
    RoundRect(dc, thumb.left, thumb.top, thumb.right + 1, thumb.bottom + 1, 2 * radius, 2 * radius);
}

int sign(LONG value) {
    return (value > 0) - (value < 0);
}

void drawArrow(HDC dc, const Chevron &arrow) {
    const auto &[tip, ends] = arrow;
    MoveToEx(dc, ends[0].x, ends[0].y, nullptr);
    LineTo(dc, tip.x, tip.y);
    // A line stops before its end.
    LineTo(dc, ends[1].x + sign(ends[1].x - tip.x), ends[1].y + sign(ends[1].y - tip.y));
}

void drawBar(HDC dc, const SCROLLBARINFO &info, bool vertical, Argb thumbColor, Argb arrowColor) {
    const ScrollBarShape shape =
        scrollBarShape(info.rcScrollBar, vertical, info.xyThumbTop, info.xyThumbBottom, info.dxyLineButton);
    const PenOwner arrowPen(CreatePen(PS_SOLID, 1, toColorRef(arrowColor)));
    SaveDC(dc);
    fillRect(dc, info.rcScrollBar, ground);
    if (hasThumb(info))
        drawThumb(dc, shape.thumb, shape.thumbRadius, thumbColor);
    SelectObject(dc, arrowPen.get());
    for (const Chevron &arrow : shape.arrows)
        drawArrow(dc, arrow);
    RestoreDC(dc, -1);
}

bool isThemed() {
    return isDark && !highContrast;
}

void paint(HWND window) {
    paintThemedScrollBars(window, palette.borderColor, palette.textMuted);
}

/// The system draws the bars on all of these, some of them without a word.
bool drawsBars(UINT message) {
    switch (message) {
    case WM_SIZE:
    case WM_SETTEXT:
    case WM_PAINT:
    case WM_STYLECHANGED:
    case WM_NCMOUSEMOVE:
    case WM_NCLBUTTONUP:
    case WM_KEYDOWN:
    case WM_HSCROLL:
    case WM_VSCROLL:
    case WM_MOUSEWHEEL:
    case WM_PRINT:
        return true;
    default:
        return false;
    }
}

/// The system tracks a press on a bar in a loop of its own, and draws in it.
LRESULT trackPress(HWND window, WPARAM wParam, LPARAM lParam) {
    SetTimer(window, trackingTimerId, trackingMilliseconds, nullptr);
    const LRESULT result = DefSubclassProc(window, WM_NCLBUTTONDOWN, wParam, lParam);
    KillTimer(window, trackingTimerId);
    paint(window);
    return result;
}

LRESULT CALLBACK scrollBarProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam, UINT_PTR subclass,
                                    DWORD_PTR /*reference*/) {
    if (message == WM_NCPAINT && isThemed()) {
        paint(window);
        return 0;
    }
    if (message == WM_NCLBUTTONDOWN)
        return trackPress(window, wParam, lParam);
    if (message == WM_TIMER && wParam == trackingTimerId) {
        paint(window);
        return 0;
    }
    if (message == WM_NCDESTROY)
        RemoveWindowSubclass(window, scrollBarProcedure, subclass);
    const LRESULT result = DefSubclassProc(window, message, wParam, lParam);
    if (drawsBars(message))
        paint(window);
    return result;
}

} // namespace

ScrollBarShape scrollBarShape(const RECT &bar, bool vertical, int thumbStart, int thumbEnd, int buttonLength) {
    const LONG cross = vertical ? bar.right - bar.left : bar.bottom - bar.top;
    const LONG inset = cross < 12 ? 2 : cross / 4;
    const LONG reach = cross <= 14 ? 2 : cross / 5;
    const LONG length = vertical ? bar.bottom - bar.top : bar.right - bar.left;
    // Along the bar and across it.
    const auto point = [&bar, vertical](LONG along, LONG across) {
        return vertical ? POINT{bar.left + across, bar.top + along} : POINT{bar.left + along, bar.top + across};
    };
    const auto chevron = [&](LONG center, LONG direction) {
        const LONG tip = center + direction * reach / 2;
        const LONG end = tip - direction * reach;
        return Chevron{point(tip, cross / 2), {point(end, cross / 2 - reach), point(end, cross / 2 + reach)}};
    };
    const POINT from = point(thumbStart, inset);
    const POINT to = point(thumbEnd, cross - inset);
    return {
        .thumb = {from.x, from.y, to.x, to.y},
        .thumbRadius = static_cast<int>(cross < 6 ? 2 : cross / 2),
        .arrows = {chevron(buttonLength / 2, -1), chevron(length - 1 - buttonLength / 2, 1)},
    };
}

void paintThemedScrollBars(HWND window, Argb thumbColor, Argb arrowColor) {
    if (!isThemed())
        return;
    const auto horizontal = visibleBar(window, OBJID_HSCROLL);
    const auto vertical = visibleBar(window, OBJID_VSCROLL);
    if (!horizontal && !vertical)
        return;
    const WindowDc dc(window);
    if (dc == nullptr)
        return;
    if (horizontal)
        drawBar(dc, *horizontal, false, thumbColor, arrowColor);
    if (vertical)
        drawBar(dc, *vertical, true, thumbColor, arrowColor);
    if (horizontal && vertical) {
        const RECT &across = horizontal->rcScrollBar;
        const RECT &down = vertical->rcScrollBar;
        fillRect(dc, {down.left, across.top, down.right, across.bottom}, ground);
    }
}

void subclassScrollBars(HWND window) {
    SetWindowSubclass(window, scrollBarProcedure, subclassId, 0);
}

} // namespace dm::ui
