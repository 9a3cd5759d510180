#include "windows/notify_icon.h"

#include "core/entry.h"
#include "core/operations.h"
#include "core/version.h"
#include "i18n/language.h"
#include "ui/animation.h"
#include "ui/canvas.h"
#include "ui/main_view.h"
#include "windows/commands.h"
#include "windows/dialogs.h"
#include "windows/history_window.h"
#include "windows/main_window.h"
#include "windows/preview.h"

#include <algorithm>
#include <vector>

namespace dm {

using ui::mainView;

UINT taskbarCreatedMessage = 0;

namespace {

constexpr UINT iconId = 1;
constexpr UINT retryMilliseconds = 5000;
constexpr int mostPopups = 16;

// The menu's commands.
constexpr UINT openCommand = 9201;
constexpr UINT widgetCommand = 9202;
constexpr UINT exitCommand = 9203;

bool iconAdded = false;
bool iconVersion4 = false;
bool balloonShown = false;
std::vector<HWND> hiddenWindows; // hidden with the main window, to be shown with it

/// Cuts the text where it is too long.
template <std::size_t Units>
void copyText(WCHAR (&field)[Units], WStringView text) {
    const std::size_t units = std::min(text.size(), Units - 1);
    std::copy_n(text.data(), units, field);
    field[units] = 0;
}

NOTIFYICONDATAW iconData(UINT flags) {
    NOTIFYICONDATAW data = {};
    data.cbSize = sizeof(data);
    data.hWnd = mainView.window;
    data.uID = iconId;
    data.uFlags = flags;
    return data;
}

HICON programIcon() {
    HICON icon = LoadIconW(moduleInstance, MAKEINTRESOURCEW(1));
    return icon != nullptr ? icon : LoadIconW(nullptr, IDI_APPLICATION);
}

void restoreIfHidden() {
    if (mainView.hiddenInArea)
        restoreMainWindow();
}

POINT cursorPosition() {
    POINT point = {};
    GetCursorPos(&point);
    return point;
}

POINT iconCentre() {
    NOTIFYICONIDENTIFIER icon = {};
    icon.cbSize = sizeof(icon);
    icon.hWnd = mainView.window;
    icon.uID = iconId;
    RECT rect = {};
    if (FAILED(Shell_NotifyIconGetRect(&icon, &rect)))
        return cursorPosition();
    return {(rect.left + rect.right) / 2, (rect.top + rect.bottom) / 2};
}

POINT menuPosition(const NotifyEvent &event) {
    if (!iconVersion4)
        return cursorPosition();
    return event.anchor.x == -1 && event.anchor.y == -1 ? iconCentre() : event.anchor;
}

HMENU makeMenu() {
    HMENU menu = CreatePopupMenu();
    const WString widget = tr(mainView.settings.widgetEnabled ? W("Скрыть виджет") : W("Показать виджет"));
    AppendMenuW(menu, MF_STRING, openCommand, tr(W("Открыть Dustmere")).c_str());
    AppendMenuW(menu, MF_STRING, widgetCommand, widget.c_str());
    AppendMenuW(menu, MF_SEPARATOR, 0, nullptr);
    AppendMenuW(menu, MF_STRING, exitCommand, tr(W("Выход")).c_str());
    SetMenuDefaultItem(menu, openCommand, FALSE);
    return menu;
}

/// Gives the command chosen, 0 for none.
UINT chooseFromMenu(POINT position) {
    HMENU menu = makeMenu();
    // Without this the menu stays when the user clicks elsewhere.
    SetForegroundWindow(mainView.window);
    const ModalScope modal;
    const UINT layout = isRightToLeft() ? TPM_LAYOUTRTL : 0;
    const BOOL command = TrackPopupMenuEx(menu, TPM_RIGHTBUTTON | TPM_NONOTIFY | TPM_RETURNCMD | layout, position.x,
                                          position.y, mainView.window, nullptr);
    DestroyMenu(menu);
    return static_cast<UINT>(command);
}

void showMenu(const NotifyEvent &event) {
    if (operationState().closing)
        return;
    const POINT position = menuPosition(event);
    const UINT command = chooseFromMenu(position);
    // The shell expects one more message for the window that the menu belonged to.
    PostMessageW(mainView.window, WM_NULL, 0, 0);
    if (operationState().closing || !IsWindow(mainView.window))
        return;
    if (command == openCommand)
        restoreMainWindow();
    else if (command == widgetCommand)
        flipWidget();
    else if (command == exitCommand)
        requestExit(false);
}

void hideCompanions() {
    hiddenWindows.clear();
    std::vector<HWND> companions = previewWindows();
    companions.insert(companions.end(), historyWindows().begin(), historyWindows().end());
    companions.push_back(mainView.largeFilesWindow);
    for (HWND window : companions) {
        if (IsWindow(window) && IsWindowVisible(window)) {
            hiddenWindows.push_back(window);
            ShowWindow(window, SW_HIDE);
        }
    }
}

void showCompanions() {
    for (HWND window : hiddenWindows) {
        if (IsWindow(window))
            ShowWindow(window, SW_SHOWNOACTIVATE);
    }
    hiddenWindows.clear();
}

void showBalloon() {
    NOTIFYICONDATAW data = iconData(NIF_INFO);
    copyText(data.szInfoTitle, productTitle);
    copyText(data.szInfo, tr(W("Приложение работает в области уведомлений.")));
    data.dwInfoFlags = NIIF_INFO;
    Shell_NotifyIconW(NIM_MODIFY, &data);
}

/// The main window, or the dialog that stands above it.
HWND foremostPopup() {
    HWND window = mainView.window;
    for (int step = 0; step < mostPopups; ++step) {
        HWND popup = GetLastActivePopup(window);
        if (popup == window || !IsWindowVisible(popup))
            break;
        window = popup;
    }
    return window;
}

} // namespace

bool addNotifyIcon() {
    if (iconAdded)
        return true;
    NOTIFYICONDATAW data = iconData(NIF_MESSAGE | NIF_ICON | NIF_TIP | NIF_SHOWTIP);
    data.uCallbackMessage = WM_APP_TRAY;
    data.hIcon = programIcon();
    copyText(data.szTip, productTitle);
    // It may be there already.
    if (!Shell_NotifyIconW(NIM_ADD, &data) && !Shell_NotifyIconW(NIM_MODIFY, &data)) {
        SetTimer(mainView.window, notifyRetryTimer, retryMilliseconds, nullptr);
        return false;
    }
    iconAdded = true;
    data.uVersion = NOTIFYICON_VERSION_4;
    iconVersion4 = Shell_NotifyIconW(NIM_SETVERSION, &data) != FALSE;
    KillTimer(mainView.window, notifyRetryTimer);
    return true;
}

void removeNotifyIcon() {
    if (!iconAdded)
        return;
    NOTIFYICONDATAW data = iconData(0);
    Shell_NotifyIconW(NIM_DELETE, &data);
    iconAdded = iconVersion4 = false;
}

void updateNotifyTip() {
    if (!iconAdded) {
        addNotifyIcon();
        return;
    }
    NOTIFYICONDATAW data = iconData(NIF_TIP | NIF_SHOWTIP);
    copyText(data.szTip, productTitle);
    if (Shell_NotifyIconW(NIM_MODIFY, &data))
        return;
    iconAdded = iconVersion4 = false;
    SetTimer(mainView.window, notifyRetryTimer, retryMilliseconds, nullptr);
    restoreIfHidden();
}

void hideToNotificationArea() {
    const OperationState &state = operationState();
    if (state.closing || state.exitPending)
        return;
    if (state.modalDepth > 0) {
        mainView.hidePending = true;
        return;
    }
    mainView.hidePending = false;
    if (!addNotifyIcon()) {
        restoreMainWindow();
        return;
    }
    hideCompanions();
    mainView.hiddenInArea = true;
    ShowWindow(mainView.window, SW_HIDE);
    ui::stopAnimationTimer();
    if (!balloonShown) {
        showBalloon();
        balloonShown = true;
    }
}

void restoreMainWindow() {
    HWND window = mainView.window;
    if (window == nullptr || operationState().closing)
        return;
    mainView.hidePending = false;
    mainView.hiddenInArea = false;
    ShowWindow(window, IsIconic(window) ? SW_RESTORE : SW_SHOW);
    showCompanions();
    ++ui::paintGeneration;
    ui::invalidateView(window, nullptr);
    paintMainWindowNow();
    ui::startAnimationTimer();
    HWND foremost = foremostPopup();
    SetForegroundWindow(foremost);
    if (foremost == window)
        SetFocus(window);
}

void onTaskbarCreated() {
    iconAdded = iconVersion4 = false;
    if (!addNotifyIcon())
        restoreIfHidden();
}

void onNotifyIcon(WPARAM wParam, LPARAM lParam) {
    const NotifyEvent event = decodeNotifyEvent(wParam, lParam, iconVersion4);
    switch (notifyActionOf(event, iconVersion4)) {
    case NotifyAction::Menu:
        showMenu(event);
        break;
    case NotifyAction::Restore:
        restoreMainWindow();
        break;
    case NotifyAction::None:
        break;
    }
}

void retryNotifyIcon() {
    if (!addNotifyIcon())
        restoreIfHidden();
}

NotifyEvent decodeNotifyEvent(WPARAM wParam, LPARAM lParam, bool version4) {
    if (version4)
        return {HIWORD(lParam), LOWORD(lParam), {GET_X_LPARAM(wParam), GET_Y_LPARAM(wParam)}};
    return {static_cast<UINT>(wParam), static_cast<UINT>(lParam), {-1, -1}};
}

NotifyAction notifyActionOf(const NotifyEvent &event, bool version4) {
    if (event.id != iconId)
        return NotifyAction::None;
    switch (event.event) {
    case WM_CONTEXTMENU:
    case WM_RBUTTONUP:
        return NotifyAction::Menu;
    case NIN_SELECT:
    case NIN_KEYSELECT:
    case WM_LBUTTONDBLCLK:
    case NIN_BALLOONUSERCLICK:
        return NotifyAction::Restore;
    case WM_LBUTTONUP:
        return version4 ? NotifyAction::None : NotifyAction::Restore;
    default:
        return NotifyAction::None;
    }
}

} // namespace dm
