#include "platform/linux/window/application.h"
#include "platform/linux/window/place.h"

#include <QGuiApplication>

#include <vector>

namespace dm::platform {
namespace {

/// The controls of a window from top to bottom of its tab order.
void collectControls(HWND window, std::vector<HWND> &controls) {
    for (const HWND child : windowOf(window)->children) {
        controls.push_back(child);
        collectControls(child, controls);
    }
}

bool canTakeFocus(HWND window) {
    return IsWindowVisible(window) != FALSE && IsWindowEnabled(window) != FALSE;
}

/// The next or the previous control that fits, round the ends; null if there is none but `from` itself.
template <typename Fits>
HWND nextControl(HWND window, HWND from, bool back, Fits fits) {
    std::vector<HWND> controls;
    collectControls(window, controls);
    const auto count = controls.size();
    const auto at = static_cast<std::size_t>(std::find(controls.begin(), controls.end(), from) - controls.begin());
    // Where nothing has the focus, the first one is next, and the last one is before.
    for (std::size_t step = 1; step <= count; ++step) {
        const std::size_t start = at < count ? at : back ? 0 : count - 1;
        const HWND control = controls[(back ? start + count - step : start + step) % count];
        if (control != from && canTakeFocus(control) && fits(control))
            return control;
    }
    return nullptr;
}

bool isTabStop(HWND window) {
    return (windowOf(window)->style & WS_TABSTOP) != 0;
}

/// From here on the control that has the focus shows that it has it.
void showFocus(HWND window) {
    Pane *pane = paneOf(topLevelOf(window));
    if (pane == nullptr || pane->focusShown)
        return;
    pane->focusShown = true;
    if (const HWND focused = GetFocus())
        InvalidateRect(focused, nullptr, FALSE);
}

void moveFocus(HWND window, HWND to) {
    showFocus(window);
    if (to != nullptr)
        SetFocus(to);
}

void sendDialogCommand(HWND window, int id) {
    SendMessageW(window, WM_COMMAND, MAKEWPARAM(id, 0), reinterpret_cast<LPARAM>(GetDlgItem(window, id)));
}

/// A button that has the focus is the default one. A key that is held down presses it once.
void pressReturn(HWND window, const MSG &message, bool onButton) {
    constexpr LPARAM repeated = 1L << 30;
    if (!onButton)
        sendDialogCommand(window, IDOK);
    else if ((message.lParam & repeated) == 0)
        sendDialogCommand(window, GetDlgCtrlID(message.hwnd));
}

/// True where the key was for the window as a whole.
bool handleDialogKey(HWND window, const MSG &message) {
    const HWND focused = GetFocus();
    const LRESULT wanted =
        SendMessageW(message.hwnd, WM_GETDLGCODE, message.wParam, reinterpret_cast<LPARAM>(&message));
    if ((wanted & DLGC_WANTALLKEYS) != 0)
        return false;
    const auto any = [](HWND) { return true; };
    switch (message.wParam) {
    case VK_TAB:
        moveFocus(window, nextControl(window, focused, QGuiApplication::keyboardModifiers().testFlag(Qt::ShiftModifier),
                                      isTabStop));
        return true;
    case VK_LEFT:
    case VK_UP:
    case VK_RIGHT:
    case VK_DOWN:
        if ((wanted & DLGC_WANTARROWS) != 0)
            return false;
        // Without groups, all controls are one.
        moveFocus(window, nextControl(window, focused, message.wParam == VK_LEFT || message.wParam == VK_UP, any));
        return true;
    case VK_RETURN:
        pressReturn(window, message, (wanted & DLGC_BUTTON) != 0);
        return true;
    case VK_ESCAPE:
        sendDialogCommand(window, IDCANCEL);
        return true;
    default:
        return false;
    }
}

} // namespace
} // namespace dm::platform

using namespace dm::platform;

HWND WINAPI SetFocus(HWND window) {
    const HWND before = GetFocus();
    if (const Pane *pane = paneOf(window))
        pane->widget->setFocus(Qt::OtherFocusReason);
    return before;
}

HWND WINAPI GetFocus() {
    application();
    QWidget *focused = QApplication::focusWidget();
    const QWidget *dialog = QApplication::activeModalWidget();
    // A dialog takes the keyboard from its owner when it opens, however long the window manager takes to say so.
    if (focused != nullptr && dialog != nullptr &&
        (dialog->parentWidget() == nullptr || dialog->parentWidget() == focused->window()))
        return nullptr;
    return windowOfWidget(focused);
}

BOOL WINAPI SetForegroundWindow(HWND window) {
    const Pane *pane = paneOf(topLevelOf(window));
    if (pane == nullptr)
        return FALSE;
    pane->widget->raise();
    pane->widget->activateWindow();
    return TRUE;
}

HWND WINAPI GetLastActivePopup(HWND window) {
    const Pane *pane = paneOf(window);
    return pane != nullptr && isOwnWindow(pane->lastPopup) ? pane->lastPopup : window;
}

BOOL WINAPI IsDialogMessageW(HWND window, MSG *message) {
    if (!isOwnWindow(window) || message->hwnd == nullptr ||
        (message->hwnd != window && IsChild(window, message->hwnd) == FALSE))
        return FALSE;
    if (message->message == WM_KEYDOWN && handleDialogKey(window, *message))
        return TRUE;
    TranslateMessage(message);
    DispatchMessageW(message);
    return TRUE;
}
