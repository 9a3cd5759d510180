#include "platform/linux/window/desktop.h"

#include "platform/linux/errors.h"
#include "platform/linux/window/application.h"
#include "platform/linux/window/desktop_settings.h"
#include "platform/linux/window/panes.h"
#include "platform/linux/window/theme_variant.h"

#include <QPalette>
#include <QScreen>
#include <QWindow>

#include <cmath>
#include <cstring>
#include <utility>

namespace dm::platform {
namespace {

int scaleOf(const QScreen *screen) {
    return static_cast<int>(std::lround(screen->logicalDotsPerInchX()));
}

QScreen *screenOf(HMONITOR monitor) {
    auto *screen = reinterpret_cast<QScreen *>(monitor);
    return QGuiApplication::screens().contains(screen) ? screen : nullptr;
}

HMONITOR monitorOf(QScreen *screen) {
    return reinterpret_cast<HMONITOR>(screen);
}

/// The screen that shows most of a rectangle; the nearest where none does.
QScreen *screenAt(const QRect &rect) {
    application();
    QScreen *best = QGuiApplication::primaryScreen();
    long long most = 0;
    int nearest = QWIDGETSIZE_MAX;
    for (QScreen *screen : QGuiApplication::screens()) {
        const QRect shown = screen->geometry() & rect;
        const long long area = shown.isEmpty() ? 0 : static_cast<long long>(shown.width()) * shown.height();
        const int distance = (screen->geometry().center() - rect.center()).manhattanLength();
        if (area > most || (most == 0 && distance < nearest)) {
            best = screen;
            most = area;
            nearest = distance;
        }
    }
    return best;
}

template <typename Value>
BOOL give(PVOID to, Value value) {
    std::memcpy(to, &value, sizeof value);
    return TRUE;
}

void tellScaleTo(HWND window, int scale) {
    RECT rect = {};
    GetWindowRect(window, &rect);
    Pane &pane = *paneOf(window);
    const int before = std::exchange(pane.scale, scale);
    if (before == 0 || before == scale)
        return;
    rect.right = rect.left + (rect.right - rect.left) * scale / before;
    rect.bottom = rect.top + (rect.bottom - rect.top) * scale / before;
    SendMessageW(window, WM_DPICHANGED, MAKEWPARAM(scale, scale), reinterpret_cast<LPARAM>(&rect));
}

} // namespace

void tellScale() {
    for (const HWND window : topLevelWindows()) {
        const Pane *pane = paneOf(window);
        if (pane != nullptr)
            tellScaleTo(window, scaleOf(pane->widget->screen()));
    }
}

} // namespace dm::platform

using namespace dm::platform;

BOOL WINAPI SystemParametersInfoW(UINT action, UINT, PVOID value, UINT) {
    application();
    const DesktopSettings &settings = desktopSettings();
    switch (action) {
    case SPI_GETWORKAREA:
        return give(value, rectOf(QGuiApplication::primaryScreen()->availableGeometry()));
    case SPI_GETHIGHCONTRAST:
        static_cast<HIGHCONTRASTW *>(value)->dwFlags = settings.highContrast ? HCF_HIGHCONTRASTON : 0;
        return TRUE;
    case SPI_GETCLIENTAREAANIMATION:
        return give(value, BOOL{settings.animations});
    case SPI_GETFONTSMOOTHING:
        return give(value, BOOL{settings.smoothFonts});
    case SPI_GETFONTSMOOTHINGTYPE:
        return give(value, settings.subpixelFonts ? UINT{FE_FONTSMOOTHINGCLEARTYPE} : UINT{FE_FONTSMOOTHINGSTANDARD});
    default:
        return fail(ERROR_INVALID_PARAMETER);
    }
}

namespace {

/// The portal tells that contrast is wanted, and no colours: black on white or white on black, as the desktop is light
/// or dark.
DWORD contrastColor(int index, bool dark) {
    constexpr DWORD black = RGB(0, 0, 0);
    constexpr DWORD white = RGB(255, 255, 255);
    constexpr DWORD cyan = RGB(0x1A, 0xEB, 0xFF);
    constexpr DWORD blue = RGB(0, 0x37, 0xDA);
    switch (index) {
    case COLOR_WINDOW:
    case COLOR_HIGHLIGHTTEXT:
        return dark ? black : white;
    case COLOR_WINDOWTEXT:
        return dark ? white : black;
    case COLOR_HIGHLIGHT:
        return dark ? cyan : blue;
    default:
        return 0;
    }
}

} // namespace

DWORD WINAPI GetSysColor(int index) {
    application();
    if (desktopSettings().highContrast)
        return contrastColor(index, desktopSettings().dark);
    const auto colorOfRole = [](QPalette::ColorRole role) {
        const QColor color = QGuiApplication::palette().color(QPalette::Active, role);
        return RGB(color.red(), color.green(), color.blue());
    };
    switch (index) {
    case COLOR_WINDOW:
        return colorOfRole(QPalette::Base);
    case COLOR_WINDOWTEXT:
        return colorOfRole(QPalette::Text);
    case COLOR_HIGHLIGHT:
        return colorOfRole(QPalette::Highlight);
    case COLOR_HIGHLIGHTTEXT:
        return colorOfRole(QPalette::HighlightedText);
    default:
        return 0;
    }
}

LSTATUS WINAPI RegGetValueW(HKEY key, LPCWSTR subKey, LPCWSTR value, DWORD flags, LPDWORD type, PVOID data,
                            LPDWORD size) {
    constexpr LPCWSTR personalize = W("Software\\Microsoft\\Windows\\CurrentVersion\\Themes\\Personalize");
    if (key != HKEY_CURRENT_USER || _wcsicmp(subKey, personalize) != 0 ||
        _wcsicmp(value, W("AppsUseLightTheme")) != 0 || flags != RRF_RT_REG_DWORD)
        return ERROR_FILE_NOT_FOUND;
    if (data == nullptr || size == nullptr || *size < sizeof(DWORD))
        return ERROR_INVALID_PARAMETER;
    give(data, DWORD{desktopSettings().dark ? 0U : 1U});
    *size = sizeof(DWORD);
    if (type != nullptr)
        *type = REG_DWORD;
    return ERROR_SUCCESS;
}

HMONITOR WINAPI MonitorFromWindow(HWND window, DWORD) {
    RECT rect = {};
    GetWindowRect(window, &rect);
    return monitorOf(screenAt(rectOf(rect)));
}

HMONITOR WINAPI MonitorFromRect(const RECT *rect, DWORD) {
    return monitorOf(screenAt(rectOf(*rect)));
}

BOOL WINAPI GetMonitorInfoW(HMONITOR monitor, MONITORINFO *info) {
    QScreen *screen = screenOf(monitor);
    if (screen == nullptr)
        return fail(ERROR_INVALID_PARAMETER);
    info->rcMonitor = rectOf(screen->geometry());
    info->rcWork = rectOf(screen->availableGeometry());
    info->dwFlags = screen == QGuiApplication::primaryScreen() ? MONITORINFOF_PRIMARY : 0;
    return TRUE;
}

HDC WINAPI GetDC(HWND window) {
    application();
    // It is only asked, so the handle need mean nothing to what draws.
    static char screen;
    if (window == nullptr)
        return reinterpret_cast<HDC>(&screen);
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
}

int WINAPI GetDeviceCaps(HDC, int index) {
    return index == LOGPIXELSX ? scaleOf(QGuiApplication::primaryScreen()) : 0;
}

BOOL WINAPI SetProcessDPIAware() {
    return TRUE;
}

namespace {

BOOL WINAPI setProcessDpiAwarenessContext(DPI_AWARENESS_CONTEXT) {
    return TRUE;
}

UINT WINAPI getDpiForWindow(HWND window) {
    const Pane *pane = paneOf(window);
    return pane == nullptr ? 0 : static_cast<UINT>(scaleOf(pane->widget->screen()));
}

/// Where the window manager draws the title bar, it goes by the variant of the theme that the window asks for.
HRESULT WINAPI dwmSetWindowAttribute(HWND window, DWORD attribute, LPCVOID value, DWORD size) {
    const Pane *pane = paneOf(window);
    if (pane == nullptr || attribute != DWMWA_USE_IMMERSIVE_DARK_MODE || size != sizeof(BOOL))
        return E_INVALIDARG;
    BOOL dark = FALSE;
    std::memcpy(&dark, value, sizeof dark);
    setThemeVariant(*pane->widget, dark != FALSE);
    return S_OK;
}

template <typename Function>
FARPROC exported(Function *function) {
    return reinterpret_cast<FARPROC>(reinterpret_cast<void *>(function));
}

/// A module is what its functions are looked up in.
struct Export {
    const char *name;
    FARPROC function;
};
const Export programFunctions[] = {{nullptr, nullptr}};
const Export userFunctions[] = {
    {"SetProcessDpiAwarenessContext", exported(&setProcessDpiAwarenessContext)},
    {"GetDpiForWindow", exported(&getDpiForWindow)},
    {nullptr, nullptr},
};
const Export desktopFunctions[] = {
    {"DwmSetWindowAttribute", exported(&dwmSetWindowAttribute)},
    {nullptr, nullptr},
};

HMODULE moduleOf(const Export *functions) {
    return reinterpret_cast<HMODULE>(const_cast<Export *>(functions));
}

} // namespace

HMODULE WINAPI GetModuleHandleW(LPCWSTR name) {
    if (name == nullptr)
        return moduleOf(programFunctions);
    if (_wcsicmp(name, W("user32.dll")) == 0)
        return moduleOf(userFunctions);
    if (_wcsicmp(name, W("dwmapi.dll")) == 0)
        return moduleOf(desktopFunctions);
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
}

HMODULE WINAPI LoadLibraryExW(LPCWSTR name, HANDLE, DWORD) {
    return GetModuleHandleW(name);
}

BOOL WINAPI FreeLibrary(HMODULE) {
    return TRUE;
}

FARPROC WINAPI GetProcAddress(HMODULE module, const char *name) {
    const auto *functions = reinterpret_cast<const Export *>(module);
    for (const Export *each = functions; each != nullptr && each->name != nullptr; ++each) {
        if (std::strcmp(each->name, name) == 0)
            return each->function;
    }
    SetLastError(ERROR_PROC_NOT_FOUND);
    return nullptr;
}
