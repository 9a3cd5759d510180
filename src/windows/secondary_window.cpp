#include "windows/secondary_window.h"

#include "core/entry.h"
#include "core/version.h"
#include "i18n/language.h"
#include "ui/layout.h"
#include "ui/theme.h"

#include <utility>

namespace dm {
namespace {

constexpr float sidebarWidth = 170;
constexpr float contentLeft = 194;

void paintLeftColumn(ui::Canvas &canvas) {
    using ui::palette;
    const ui::Argb tile = ui::mixColor(palette.sidebarBackground, palette.accentColor, 0.3F);
    ui::fillRoundRect(canvas, 20, 25, 42, 42, 12, tile, 0, 0);
    ui::drawBroom(canvas, 28, 32, 28, palette.sidebarText);
    canvas.drawText(productName, 20, 81, 135, 29, 20, palette.sidebarText, true, false, true, false);
    canvas.drawText(versionLine(), 20, 114, 135, 24, 12, palette.sidebarMuted, false, false, true, false);
}

void copyInvalid(HDC dc, const RECT &invalid, const ui::BackBuffer &buffer) {
    BitBlt(dc, invalid.left, invalid.top, invalid.right - invalid.left, invalid.bottom - invalid.top, buffer.dc,
           invalid.left, invalid.top, SRCCOPY);
}

} // namespace

void registerWindowClass(const WChar *name, WNDPROC procedure) {
    WNDCLASSEXW windowClass = {};
    windowClass.cbSize = sizeof(windowClass);
    windowClass.lpfnWndProc = procedure;
    windowClass.hInstance = moduleInstance;
    windowClass.hIcon = LoadIconW(windowClass.hInstance, MAKEINTRESOURCEW(1));
    windowClass.hIconSm = windowClass.hIcon;
    windowClass.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    windowClass.lpszClassName = name;
    RegisterClassExW(&windowClass);
}

float windowScale(HWND window) {
    using DpiForWindow = UINT(WINAPI *)(HWND);
    const auto dpiForWindow = reinterpret_cast<DpiForWindow>(
        reinterpret_cast<void (*)()>(GetProcAddress(GetModuleHandleW(W("user32.dll")), "GetDpiForWindow")));
    const UINT dpi = dpiForWindow != nullptr ? dpiForWindow(window) : 0;
    return dpi != 0 ? static_cast<float>(dpi) / 96 : 1;
}

RECT workAreaOf(HWND window) {
    MONITORINFO info = {};
    info.cbSize = sizeof(info);
    GetMonitorInfoW(MonitorFromWindow(window, MONITOR_DEFAULTTONEAREST), &info);
    return info.rcWork;
}

void setWindowIcons(HWND window) {
    HICON icon = LoadIconW(moduleInstance, MAKEINTRESOURCEW(1));
    SendMessageW(window, WM_SETICON, ICON_SMALL, reinterpret_cast<LPARAM>(icon));
    SendMessageW(window, WM_SETICON, ICON_BIG, reinterpret_cast<LPARAM>(icon));
}

void setOuterSize(HWND window, float width, float height, float scale) {
    RECT rect = {};
    if (!GetWindowRect(window, &rect))
        return;
    rect.right = rect.left + ui::scaledPixels(width, scale);
    rect.bottom = rect.top + ui::scaledPixels(height, scale);
    ui::moveClamped(window, rect);
}

void takeSuggestedRect(HWND window, LPARAM lParam) {
    ui::moveClamped(window, *reinterpret_cast<const RECT *>(lParam));
}

void setLeastSize(HWND window, LPARAM lParam, float width, float height, float scale) {
    RECT rect = {};
    GetWindowRect(window, &rect);
    rect.right = rect.left + ui::scaledPixels(width, scale);
    rect.bottom = rect.top + ui::scaledPixels(height, scale);
    const RECT least = ui::clampToWorkArea(rect);
    reinterpret_cast<MINMAXINFO *>(lParam)->ptMinTrackSize = {least.right - least.left, least.bottom - least.top};
}

void keepCreateParameter(HWND window, LPARAM lParam) {
    const auto *create = reinterpret_cast<const CREATESTRUCTW *>(lParam);
    SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(create->lpCreateParams));
}

void renewFont(HFONT &font, float scale, const std::function<void(HFONT font)> &handOut) {
    HFONT made = CreateFontW(-ui::scaledPixels(14, scale), 0, 0, 0, FW_NORMAL, FALSE, FALSE, FALSE, DEFAULT_CHARSET,
                             OUT_DEFAULT_PRECIS, CLIP_DEFAULT_PRECIS, ui::systemFontQuality(),
                             DEFAULT_PITCH | FF_DONTCARE, ui::currentInterfaceFont().c_str());
    HFONT old = nullptr;
    if (made != nullptr)
        old = std::exchange(font, made);
    handOut(font);
    if (old != nullptr)
        DeleteObject(old);
}

void applyReadingDirection(HWND control, LONG_PTR styles) {
    const LONG_PTR old = GetWindowLongPtrW(control, GWL_EXSTYLE);
    const LONG_PTR wanted = isRightToLeft() ? old | styles : old & ~styles;
    if (wanted == old)
        return;
    SetWindowLongPtrW(control, GWL_EXSTYLE, wanted);
    SetWindowPos(control, nullptr, 0, 0, 0, 0,
                 SWP_NOMOVE | SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE | SWP_FRAMECHANGED);
}

LRESULT answerControlColor(HDC dc, ui::Argb background, ui::Argb text, HBRUSH brush) {
    SetBkMode(dc, OPAQUE);
    SetBkColor(dc, ui::toColorRef(background));
    SetTextColor(dc, ui::toColorRef(text));
    return reinterpret_cast<LRESULT>(brush);
}

void paintIntoBuffer(const ui::BackBuffer &buffer, float scale, const PaintBody &paintBody) {
    ui::fillRect(buffer.dc, {0, 0, buffer.width, buffer.height}, ui::palette.windowBackground);
    ui::fillRect(buffer.dc, {0, 0, ui::scaledPixels(sidebarWidth, scale), buffer.height},
                 ui::palette.sidebarBackground);
    ui::Canvas canvas(buffer.dc, scale, ui::currentInterfaceFont(), isRightToLeft(), ui::textPainter);
    paintLeftColumn(canvas);
    paintBody(canvas, static_cast<float>(buffer.width) / scale, static_cast<float>(buffer.height) / scale);
}

void paintSecondaryWindow(HWND window, ui::BackBuffer &buffer, float scale, const PaintBody &paintBody) {
    PAINTSTRUCT paint = {};
    HDC dc = BeginPaint(window, &paint);
    RECT client = {};
    GetClientRect(window, &client);
    if (ui::ensureBackBuffer(buffer, client.right, client.bottom)) {
        const RECT &invalid = paint.rcPaint;
        const int saved = SaveDC(buffer.dc);
        IntersectClipRect(buffer.dc, invalid.left, invalid.top, invalid.right, invalid.bottom);
        paintIntoBuffer(buffer, scale, paintBody);
        RestoreDC(buffer.dc, saved);
        copyInvalid(dc, invalid, buffer);
    }
    EndPaint(window, &paint);
}

void paintSectionTile(ui::Canvas &canvas, int glyph, float glyphY, const WString &title) {
    using ui::palette;
    const ui::Argb tile = ui::mixColor(palette.sidebarBackground, palette.accentColor, 0.29F);
    ui::fillRoundRect(canvas, 14, 166, 142, 51, 12, tile, 0, 0);
    ui::drawGlyph(canvas, glyph, 25, glyphY, 22, palette.sidebarText);
    canvas.drawText(title, 55, 169, 92, 44, 14, palette.sidebarText, true, true, false, false);
}

void paintSectionNote(ui::Canvas &canvas, const WString &text, float height, float size) {
    canvas.drawText(text, 20, 234, 130, height, size, ui::palette.sidebarMuted, false, false, false, false);
}

void paintHeading(ui::Canvas &canvas, const WString &text, float width, float height) {
    canvas.drawText(text, contentLeft, 24, width - 218, height, 27, ui::palette.textPrimary, true, false, false, false);
}

void paintSubheading(ui::Canvas &canvas, const WString &text, float y, float width, float height) {
    canvas.drawText(text, contentLeft, y, width - 218, height, 14, ui::palette.textMuted, false, false, false, false);
}

void paintPanel(ui::Canvas &canvas, float x, float y, float width, float height) {
    ui::fillRoundRect(canvas, x, y, width, height, 15, ui::palette.cardBackground, ui::palette.borderColor, 1);
}

} // namespace dm
