#include "core/message_loop.h"

#include "core/operations.h"
#include "platform/text.h"
#include "platform/win32.h"
#include "ui/canvas.h"
#include "ui/main_view.h"
#include "ui/theme.h"
#include "windows/history_window.h"
#include "windows/main_window.h"
#include "windows/notify_icon.h"
#include "windows/preview.h"
#include "windows/widget.h"

#include <vector>

namespace dm {
namespace {

constexpr int exitNoMainWindow = 10;

// Controls of the widget.
constexpr int widgetOpen = 9101;
constexpr int widgetScan = 9103;

using DpiAwarenessFunction = BOOL(WINAPI *)(DPI_AWARENESS_CONTEXT context);

/// Published as a function since Windows 10 only.
void becomeDpiAware() {
    HMODULE user = GetModuleHandleW(W("user32.dll"));
    const auto setAwareness = reinterpret_cast<DpiAwarenessFunction>(
        reinterpret_cast<void *>(GetProcAddress(user, "SetProcessDpiAwarenessContext")));
    if (setAwareness != nullptr)
        setAwareness(DPI_AWARENESS_CONTEXT_PER_MONITOR_AWARE_V2);
    else
        SetProcessDPIAware();
}

void loadCommonControls() {
    INITCOMMONCONTROLSEX classes = {};
    classes.dwSize = sizeof(classes);
    classes.dwICC = ICC_LISTVIEW_CLASSES | ICC_BAR_CLASSES | ICC_PROGRESS_CLASS;
    InitCommonControlsEx(&classes);
}

float screenScale() {
    HDC screen = GetDC(nullptr);
    const int dpi = GetDeviceCaps(screen, LOGPIXELSX);
    ReleaseDC(nullptr, screen);
    return static_cast<float>(dpi) / 96.0F;
}

RECT workArea() {
    RECT area = {};
    SystemParametersInfoW(SPI_GETWORKAREA, 0, &area, 0);
    return area;
}

/// Null on failure.
HWND makeMainWindow() {
    registerMainWindow();
    ui::mainView.uiScale = screenScale();
    const RECT area = workArea();
    taskbarCreatedMessage = RegisterWindowMessageW(W("TaskbarCreated"));
    return createMainWindow(mainWindowSize(area, ui::mainView.uiScale));
}

// The loop.

/// A copy: a handler may close a window while it is walked.
std::vector<HWND> secondaryWindows() {
    std::vector<HWND> windows = previewWindows();
    windows.insert(windows.end(), historyWindows().begin(), historyWindows().end());
    if (widgetWindow() != nullptr)
        windows.push_back(widgetWindow());
    if (ui::mainView.largeFilesWindow != nullptr)
        windows.push_back(ui::mainView.largeFilesWindow);
    return windows;
}

/// The secondary window that a message is for, itself or one of its controls; null if none.
HWND secondaryTarget(const MSG &message) {
    for (HWND window : secondaryWindows()) {
        if (IsWindow(window) && (window == message.hwnd || IsChild(window, message.hwnd)))
            return window;
    }
    return nullptr;
}

void pressWidgetButton(HWND widget) {
    HWND control = GetFocus();
    int id = GetDlgCtrlID(control);
    if (id <= widgetOpen || id > widgetScan) {
        id = widgetOpen;
        control = GetDlgItem(widget, id);
    }
    SendMessageW(widget, WM_COMMAND, static_cast<WPARAM>(id), reinterpret_cast<LPARAM>(control));
}

/// True where the key means something to the widget as a whole.
bool widgetKey(HWND widget, WPARAM key) {
    switch (key) {
    case VK_PRIOR:
        SendMessageW(widget, WM_MOUSEWHEEL, MAKEWPARAM(0, WHEEL_DELTA), 0);
        return true;
    case VK_NEXT:
        SendMessageW(widget, WM_MOUSEWHEEL, MAKEWPARAM(0, -WHEEL_DELTA), 0);
        return true;
    case VK_RETURN:
        pressWidgetButton(widget);
        return true;
    default:
        return false;
    }
}

/// True where the key has been dealt with and goes nowhere else.
bool secondaryKey(HWND window, WPARAM key) {
    if (key == VK_ESCAPE) {
        SendMessageW(window, WM_CLOSE, 0, 0);
        return true;
    }
    return window == widgetWindow() && widgetKey(window, key);
}

void route(MSG &message) {
    HWND secondary = secondaryTarget(message);
    if (secondary != nullptr && message.message == WM_KEYDOWN && secondaryKey(secondary, message.wParam))
        return;
    HWND dialog = secondary != nullptr ? secondary : ui::mainView.window;
    if (IsDialogMessageW(dialog, &message))
        return;
    TranslateMessage(&message);
    DispatchMessageW(&message);
}

/// Gives what the quit message carries.
int runLoop() {
    MSG message = {};
    while (GetMessageW(&message, nullptr, 0, 0) >= 1)
        route(message);
    return static_cast<int>(message.wParam);
}

void releaseAll() {
    ui::mainView.controls.clear();
    ui::releaseDrawing();
    ui::releaseTheme();
}

} // namespace

int runWindowed(int show) {
    becomeDpiAware();
    loadCommonControls();
    ULONG_PTR gdiplus = 0;
    const Gdiplus::GdiplusStartupInput input;
    Gdiplus::GdiplusStartup(&gdiplus, &input, nullptr);
    HWND window = makeMainWindow();
    if (window == nullptr) {
        Gdiplus::GdiplusShutdown(gdiplus);
        return exitNoMainWindow;
    }
    ShowWindow(window, show);
    paintMainWindowNow();
    const int code = runLoop();
    if (operationState().worker.joinable())
        operationState().worker.join();
    releaseAll();
    Gdiplus::GdiplusShutdown(gdiplus);
    CoUninitialize();
    return code;
}

} // namespace dm
