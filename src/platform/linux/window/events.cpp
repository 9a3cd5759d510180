#include "platform/linux/window/events.h"

#include "platform/linux/messages.h"

#include <QEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QWheelEvent>

namespace dm::platform {
namespace {

bool has(Roles roles, Role role) {
    return (roles & static_cast<Roles>(role)) != 0;
}

class EventWatcher final : public QObject {
public:
    bool eventFilter(QObject *object, QEvent *event) override { return handlePartEvent(object, event); }
};

bool handleFocus(HWND window, QObject *object, QEvent &event) {
    deliver(window, event.type() == QEvent::FocusIn ? WM_SETFOCUS : WM_KILLFOCUS, 0, 0, object, &event);
    return true;
}

} // namespace

QObject &eventWatcher() {
    static EventWatcher watcher;
    return watcher;
}

bool handleEvent(HWND window, Roles roles, QObject *object, QEvent *event) {
    switch (event->type()) {
    case QEvent::KeyPress:
    case QEvent::KeyRelease:
        return has(roles, Role::Keys) && handleKey(window, object, *static_cast<QKeyEvent *>(event));
    case QEvent::FocusIn:
    case QEvent::FocusOut:
        return has(roles, Role::Keys) && handleFocus(window, object, *event);
    case QEvent::MouseMove:
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
        return has(roles, Role::Client) && handleMouse(window, object, *static_cast<QMouseEvent *>(event));
    case QEvent::Wheel:
        return has(roles, Role::Client) && handleWheel(window, object, *static_cast<QWheelEvent *>(event));
    case QEvent::Leave:
        return has(roles, Role::Client) && handleLeave(window, object, *event);
    case QEvent::Paint:
        if (has(roles, Role::NonClient))
            return handleNonClientPaint(window, object, *static_cast<QPaintEvent *>(event));
        return has(roles, Role::Client) && handlePaint(window, object, *static_cast<QPaintEvent *>(event));
    case QEvent::Move:
    case QEvent::Resize:
    case QEvent::WindowActivate:
    case QEvent::WindowDeactivate:
    case QEvent::WindowStateChange:
    case QEvent::Close:
        return has(roles, Role::Place) && handlePlace(window, object, *event);
    default:
        return false;
    }
}

void queueEvent(HWND window, UINT message, WPARAM wParam, LPARAM lParam, QObject *object, const QEvent &event) {
    const auto queued = std::make_shared<QueuedEvent>();
    queued->object = object;
    queued->event.reset(event.clone());
    post(window, message, wParam, lParam, queued);
}

LRESULT dispatchQueued(const MSG &message, const Origin &origin) {
    const auto queued = std::static_pointer_cast<QueuedEvent>(origin);
    if (message.message >= WM_MOUSEFIRST && message.message <= WM_MOUSELAST) {
        if (queued->object != nullptr)
            sendQueuedMouse(message.hwnd, queued->object, *queued->event);
        return 0;
    }
    // Of a key the window may have changed since.
    const Pane *pane = paneOf(message.hwnd);
    return pane == nullptr ? 0
                           : deliver(message.hwnd, message.message, message.wParam, message.lParam, pane->widget,
                                     queued->event.get());
}

} // namespace dm::platform
