#include "platform/linux/window/events.h"

#include <QCursor>
#include <QMouseEvent>
#include <QWheelEvent>

#include <utility>

namespace dm::platform {
namespace {

/// The window that holds the mouse between a press and its release.
HWND captured = nullptr;

/// A window that is being dragged, and where in it the pointer holds it.
struct Drag {
    HWND window = nullptr;
    QPoint grip;
};
Drag drag;

bool sendingQueued = false;

/// What a mouse does behind a key that is still queued has to wait behind it: text typed before a click belongs to what
/// is there when the click comes.
bool mustQueue() {
    MSG message;
    const auto isQueued = [&message](UINT first, UINT last) {
        return PeekMessageW(&message, nullptr, first, last, PM_NOREMOVE) != FALSE && message.message != WM_QUIT;
    };
    return !sendingQueued && (isQueued(WM_KEYFIRST, WM_KEYLAST) || isQueued(WM_MOUSEFIRST, WM_MOUSELAST));
}

WPARAM keysDown(const QInputEvent &event, Qt::MouseButtons buttons) {
    const Qt::KeyboardModifiers modifiers = event.modifiers();
    return (buttons.testFlag(Qt::LeftButton) ? MK_LBUTTON : 0U) |
           (modifiers.testFlag(Qt::ShiftModifier) ? MK_SHIFT : 0U) |
           (modifiers.testFlag(Qt::ControlModifier) ? MK_CONTROL : 0U);
}

LPARAM packed(QPoint point) {
    return MAKELPARAM(point.x(), point.y());
}

UINT messageOf(const QMouseEvent &event) {
    switch (event.type()) {
    case QEvent::MouseButtonPress:
        return WM_LBUTTONDOWN;
    case QEvent::MouseButtonRelease:
        return WM_LBUTTONUP;
    case QEvent::MouseButtonDblClick:
        return WM_LBUTTONDBLCLK;
    default:
        return WM_MOUSEMOVE;
    }
}

/// Only the program's own windows, which have no parent, are asked. Of the second press of a double click they, unlike
/// controls, hear as of any other.
bool isTopLevel(HWND window) {
    return windowOf(window)->parent == nullptr;
}

bool dragOn(HWND window, const QMouseEvent &event) {
    if (drag.window != window)
        return false;
    if (event.type() == QEvent::MouseMove) {
        paneOf(window)->widget->move(event.globalPosition().toPoint() - drag.grip);
    } else if (event.type() == QEvent::MouseButtonRelease) {
        drag.window = nullptr;
        notify(window, WM_EXITSIZEMOVE, 0, 0);
    }
    return true;
}

} // namespace

void sendQueuedMouse(HWND window, QObject *object, QEvent &event) {
    const bool outer = std::exchange(sendingQueued, true);
    if (event.type() == QEvent::Wheel)
        handleWheel(window, object, static_cast<QWheelEvent &>(event));
    else
        handleMouse(window, object, static_cast<QMouseEvent &>(event));
    sendingQueued = outer;
}

bool handleMouse(HWND window, QObject *object, QMouseEvent &event) {
    const bool isMove = event.type() == QEvent::MouseMove;
    if (!isMove && event.button() != Qt::LeftButton)
        return false; // other buttons are the widget's own business: its context menu, for one
    if (!paneOf(window)->widget->isEnabled())
        return false; // then it is the parent's
    UINT message = messageOf(event);
    const WPARAM keys = keysDown(event, event.buttons());
    const QPoint position = event.position().toPoint();
    event.accept();
    if (mustQueue()) {
        queueEvent(window, message, keys, packed(position), object, event);
        return true;
    }
    if (isTopLevel(window)) {
        if (dragOn(window, event))
            return true;
        const LPARAM screen = packed(event.globalPosition().toPoint());
        const LRESULT place = notify(window, WM_NCHITTEST, 0, screen);
        if (message == WM_LBUTTONDBLCLK)
            message = WM_LBUTTONDOWN;
        if (place != HTCLIENT) {
            if (message == WM_LBUTTONDOWN)
                deliver(window, WM_NCLBUTTONDOWN, static_cast<WPARAM>(place), screen, object, &event);
            return true;
        }
    }
    deliver(window, message, keys, packed(position), object, &event);
    return true;
}

bool handleWheel(HWND window, QObject *object, QWheelEvent &event) {
    const int turned = event.angleDelta().y();
    if (turned == 0 || !paneOf(window)->widget->isEnabled())
        return false;
    const WPARAM wParam = MAKEWPARAM(keysDown(event, event.buttons()), turned);
    const LPARAM screen = packed(event.globalPosition().toPoint());
    event.accept();
    if (mustQueue())
        queueEvent(window, WM_MOUSEWHEEL, wParam, screen, object, event);
    else
        deliver(window, WM_MOUSEWHEEL, wParam, screen, object, &event);
    return true;
}

bool handleLeave(HWND window, QObject *object, QEvent &event) {
    if (!std::exchange(paneOf(window)->leaveWanted, false))
        return false;
    deliver(window, WM_MOUSELEAVE, 0, 0, object, &event);
    return true;
}

std::optional<LRESULT> defaultMouse(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case WM_NCHITTEST:
        return HTCLIENT;
    case WM_NCLBUTTONDOWN:
        if (wParam == HTCAPTION)
            drag = {window, QPoint(GET_X_LPARAM(lParam), GET_Y_LPARAM(lParam)) -
                                paneOf(window)->widget->frameGeometry().topLeft()};
        return 0;
    case WM_MOUSEWHEEL: {
        const HWND parent = windowOf(window)->parent;
        return parent == nullptr ? 0 : SendMessageW(parent, message, wParam, lParam);
    }
    case WM_CANCELMODE:
        releaseCapture(window);
        return 0;
    default:
        return std::nullopt;
    }
}

void takeCapture(HWND window) {
    captured = window;
}

void releaseCapture(HWND window) {
    if (captured != window)
        return;
    captured = nullptr;
    SendMessageW(window, WM_CAPTURECHANGED, 0, 0);
}

} // namespace dm::platform

using namespace dm::platform;

BOOL WINAPI TrackMouseEvent(TRACKMOUSEEVENT *track) {
    Pane *pane = paneOf(track->hwndTrack);
    if (pane == nullptr || track->dwFlags != TME_LEAVE)
        return FALSE;
    pane->leaveWanted = true;
    return TRUE;
}

BOOL WINAPI GetCursorPos(POINT *position) {
    const QPoint pointer = QCursor::pos();
    *position = {pointer.x(), pointer.y()};
    return TRUE;
}
