#include "windows/main_window.h"

#include "core/entry.h"
#include "core/operations.h"
#include "core/version.h"
#include "data/settings.h"
#include "engine/drives.h"
#include "i18n/language.h"
#include "ui/animation.h"
#include "ui/canvas.h"
#include "ui/controls.h"
#include "ui/layout.h"
#include "ui/main_view.h"
#include "ui/theme.h"
#include "windows/commands.h"
#include "windows/history_window.h"
#include "windows/notify_icon.h"
#include "windows/operation_wiring.h"
#include "windows/pages.h"
#include "windows/preview.h"
#include "windows/secondary_window.h"
#include "windows/widget.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <optional>

namespace dm {
namespace {

using ui::mainView;

constexpr const WChar *className = W("DustmereReleaseWindow");
constexpr UINT drivesMilliseconds = 60000;
constexpr UINT smokeMilliseconds = 900;

// Raw pixels, whatever the scale: the whole interface shrinks with the window.
constexpr POINT leastSize = {900, 640};
constexpr float widthDips = 1300;
constexpr float heightDips = 850;
constexpr int screenMargin = 24;

int rounded(float value) {
    return static_cast<int>(std::lround(value));
}

/// Says in the result line that the settings could not be read or stored.
void tellSettingsFailure() {
    OperationState &state = operationState();
    state.summaryKind = SummaryKind::Plain;
    state.resultLine = W("Не удалось сохранить настройки. Проверьте доступ к LocalAppData.");
    ui::invalidateView(mainView.window, nullptr);
}

// The creation.

void readSettings() {
    try {
        mainView.settings = loadSettings();
    } catch (const std::exception &) {
        tellSettingsFailure();
    }
    SendMessageW(ui::mainControl(ui::id::opacity), TBM_SETPOS, TRUE, mainView.settings.widgetOpacity);
}

void applyStoredLook() {
    setLanguage(mainView.settings.language);
    ui::rebuildFonts();
    ui::applyTheme();
    ui::retranslateControls();
    ui::fillLanguageList();
    rebuildResultLines();
}

void startTimers() {
    SetTimer(mainView.window, drivesTimer, drivesMilliseconds, nullptr);
    if (mainView.smokeQuit)
        SetTimer(mainView.window, smokeTimer, smokeMilliseconds, nullptr);
}

void onCreate(HWND window) {
    mainView.window = window;
    mainView.paintPage = paintPage;
    mainView.refreshWidget = refreshWidget;
    mainView.dpiScale = mainView.uiScale = windowScale(window);
    wireOperations();
    ui::rebuildFonts();
    ui::createMainControls();
    refreshDrives();
    readSettings();
    applyStoredLook();
    // What was damaged or missing is whole from here on.
    storeSettings();
    ui::applyTheme();
    syncWidget();
    addNotifyIcon();
    startTimers();
    ui::layoutMainWindow();
}

void onDestroy(HWND window) {
    operationState().closing = true;
    removeNotifyIcon();
    for (const UINT_PTR timer : {drivesTimer, smokeTimer, ui::animationTimerId, notifyRetryTimer})
        KillTimer(window, timer);
    destroySecondaryWindows();
    PostQuitMessage(0);
}

// What the system tells.

void onDpiChanged(HWND window, WPARAM wParam, LPARAM lParam) {
    mainView.dpiScale = static_cast<float>(HIWORD(wParam)) / USER_DEFAULT_SCREEN_DPI;
    RECT rect = *reinterpret_cast<const RECT *>(lParam);
    MONITORINFO monitor = {};
    monitor.cbSize = sizeof(monitor);
    if (GetMonitorInfoW(MonitorFromRect(&rect, MONITOR_DEFAULTTONEAREST), &monitor))
        rect = fitInto(rect, monitor.rcWork);
    SetWindowPos(window, nullptr, rect.left, rect.top, rect.right - rect.left, rect.bottom - rect.top,
                 SWP_NOZORDER | SWP_NOACTIVATE);
    ui::layoutMainWindow();
}

void onSize(WPARAM kind, LPARAM size) {
    if (kind == SIZE_MINIMIZED)
        ui::stopAnimationTimer();
    else
        ui::resizeMainWindow(LOWORD(size), HIWORD(size));
}

void onShow(HWND window, bool shown) {
    if (!shown) {
        ui::stopAnimationTimer();
        return;
    }
    ++ui::paintGeneration;
    ui::invalidateView(window, nullptr);
    ui::startAnimationTimer();
}

void onSettingChange() {
    ui::rebuildFonts();
    ui::applyTheme();
    if (mainView.settings.language == "system") {
        refreshLanguage();
    } else {
        rebuildResultLines();
        refreshAllWindows();
    }
    ui::layoutMainWindow();
}

void onTimer(HWND window, WPARAM timer) {
    switch (timer) {
    case drivesTimer:
        refreshDrives();
        ui::invalidateView(window, nullptr);
        refreshWidget();
        break;
    case smokeTimer:
        KillTimer(window, smokeTimer);
        requestExit(true);
        break;
    case ui::animationTimerId:
        ui::animationTick();
        break;
    case notifyRetryTimer:
        retryNotifyIcon();
        break;
    default:
        break;
    }
}

LRESULT colorControl(HDC dc) {
    return answerControlColor(dc, ui::palette.cardBackground, ui::palette.textPrimary, ui::themeBrushes.card);
}

LRESULT measureItem(MEASUREITEMSTRUCT &item) {
    if (item.CtlType == ODT_COMBOBOX)
        item.itemHeight = static_cast<UINT>(rounded(30 * mainView.uiScale));
    return TRUE;
}

// What the user does.

void onCommand(WPARAM wParam) {
    const int id = LOWORD(wParam);
    const int code = HIWORD(wParam);
    if (id == ui::id::language && code == CBN_SELCHANGE)
        chooseLanguage();
    else if (code == 0)
        handleCommand(id);
}

void onScroll(WPARAM wParam, LPARAM lParam) {
    HWND slider = ui::mainControl(ui::id::opacity);
    if (slider == nullptr || reinterpret_cast<HWND>(lParam) != slider)
        return;
    mainView.settings.widgetOpacity = static_cast<std::int32_t>(SendMessageW(slider, TBM_GETPOS, 0, 0));
    // The end of a drag has a message of its own.
    if (LOWORD(wParam) != SB_THUMBTRACK)
        storeSettings();
    const RECT band = opacityBand();
    ui::invalidateView(mainView.window, &band);
    ui::invalidateView(slider, nullptr);
    refreshWidget();
}

// The messages, by who sends them; nothing for a message of another.

bool carriesRecord(UINT message) {
    return message >= WM_APP_PROGRESS && message <= WM_APP_RECYCLE_DONE;
}

std::optional<LRESULT> ownMessage(UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == taskbarCreatedMessage && message != 0) {
        onTaskbarCreated();
        return 0;
    }
    if (message == WM_APP_TRAY) {
        onNotifyIcon(wParam, lParam);
        return 0;
    }
    if (carriesRecord(message) && lParam == 0)
        return 0;
    if (!handleOperationMessage(message, lParam))
        return std::nullopt;
    if (message == WM_APP_AFTER_MODAL && operationState().modalDepth == 0 && mainView.hidePending)
        hideToNotificationArea();
    return 0;
}

std::optional<LRESULT> lifeMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case WM_CREATE:
        onCreate(window);
        return 0;
    case WM_DESTROY:
        onDestroy(window);
        return 0;
    case WM_NCDESTROY:
        mainView.window = nullptr;
        return std::nullopt;
    case WM_CLOSE:
        hideToNotificationArea();
        return 0;
    case WM_SHOWWINDOW:
        onShow(window, wParam != FALSE);
        return std::nullopt;
    case WM_ACTIVATE:
        ui::startAnimationTimer();
        return std::nullopt;
    case WM_SIZE:
        onSize(wParam, lParam);
        return 0;
    case WM_DPICHANGED:
        onDpiChanged(window, wParam, lParam);
        return 0;
    case WM_GETMINMAXINFO:
        reinterpret_cast<MINMAXINFO *>(lParam)->ptMinTrackSize = leastSize;
        return 0;
    case WM_SETTINGCHANGE:
    case WM_FONTCHANGE:
        onSettingChange();
        return 0;
    default:
        return std::nullopt;
    }
}

std::optional<LRESULT> paintMessage(UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case WM_PAINT:
        ui::paintMainWindow();
        return 0;
    case WM_ERASEBKGND:
        return 1;
    case WM_DRAWITEM:
        ui::paintOwnerDrawControl(*reinterpret_cast<const DRAWITEMSTRUCT *>(lParam));
        return TRUE;
    case WM_MEASUREITEM:
        return measureItem(*reinterpret_cast<MEASUREITEMSTRUCT *>(lParam));
    case WM_CTLCOLOREDIT:
    case WM_CTLCOLORLISTBOX:
    case WM_CTLCOLORBTN:
    case WM_CTLCOLORSTATIC:
        return colorControl(reinterpret_cast<HDC>(wParam));
    default:
        return std::nullopt;
    }
}

std::optional<LRESULT> userMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case WM_COMMAND:
        onCommand(wParam);
        return 0;
    case WM_TIMER:
        onTimer(window, wParam);
        return 0;
    case WM_HSCROLL:
        onScroll(wParam, lParam);
        return 0;
    default:
        return std::nullopt;
    }
}

std::optional<LRESULT> handleMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (const auto answer = ownMessage(message, wParam, lParam))
        return answer;
    if (const auto answer = lifeMessage(window, message, wParam, lParam))
        return answer;
    if (const auto answer = paintMessage(message, wParam, lParam))
        return answer;
    return userMessage(window, message, wParam, lParam);
}

} // namespace

SIZE mainWindowSize(const RECT &workArea, float scale) {
    const int width = workArea.right - workArea.left - screenMargin;
    const int height = workArea.bottom - workArea.top - screenMargin;
    return {std::min(width, rounded(widthDips * scale)), std::min(height, rounded(heightDips * scale))};
}

RECT fitInto(const RECT &rect, const RECT &area) {
    const LONG width = std::min(rect.right - rect.left, area.right - area.left);
    const LONG height = std::min(rect.bottom - rect.top, area.bottom - area.top);
    const LONG left = std::clamp(rect.left, area.left, area.right - width);
    const LONG top = std::clamp(rect.top, area.top, area.bottom - height);
    return {left, top, left + width, top + height};
}

bool registerMainWindow() {
    WNDCLASSEXW windowClass = {};
    windowClass.cbSize = sizeof(windowClass);
    windowClass.lpfnWndProc = mainWindowProcedure;
    windowClass.hInstance = moduleInstance;
    windowClass.hIcon = windowClass.hIconSm = LoadIconW(moduleInstance, MAKEINTRESOURCEW(1));
    windowClass.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    windowClass.lpszClassName = className;
    return RegisterClassExW(&windowClass) != 0;
}

HWND createMainWindow(SIZE size) {
    return CreateWindowExW(0, className, productTitle, WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN, CW_USEDEFAULT,
                           CW_USEDEFAULT, size.cx, size.cy, nullptr, nullptr, moduleInstance, nullptr);
}

LRESULT CALLBACK mainWindowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    try {
        if (const auto answer = handleMessage(window, message, wParam, lParam))
            return *answer;
    } catch (const std::exception &) {
        // Nothing may be thrown into the system. What the message was about is left as far as it came; without a whole
        // window there is no program.
        return message == WM_CREATE ? -1 : 0;
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

void refreshDrives() {
    operationState().drives = listDrives();
}

void refreshAllWindows() {
    for (HWND window : std::vector(previewWindows()))
        SendMessageW(window, WM_APP_REFRESH, 0, 0);
    for (HWND window : std::vector(historyWindows()))
        SendMessageW(window, WM_APP_REFRESH, 0, 0);
    if (mainView.largeFilesWindow != nullptr)
        SendMessageW(mainView.largeFilesWindow, WM_APP_REFRESH, 0, 0);
    syncWidget();
    if (widgetWindow() != nullptr)
        SendMessageW(widgetWindow(), WM_APP_REFRESH, 0, 0);
    refreshWidget();
}

bool isMainWindowShowing() {
    HWND window = mainView.window;
    return window != nullptr && IsWindowVisible(window) && !IsIconic(window) && !mainView.hiddenInArea;
}

void paintMainWindowNow() {
    HWND window = mainView.window;
    if (!IsWindowVisible(window) || IsIconic(window))
        return;
    UpdateWindow(window);
    for (const auto &[id, control] : mainView.controls) {
        if (IsWindowVisible(control))
            UpdateWindow(control);
    }
}

void storeSettings() {
    try {
        saveSettings(mainView.settings);
    } catch (const std::exception &) {
        tellSettingsFailure();
    }
}

} // namespace dm
