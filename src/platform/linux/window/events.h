// How Qt's events become messages.
#pragma once

#include "platform/linux/window/panes.h"

namespace dm::platform {

/// The event filter on every object of a window.
QObject &eventWatcher();
/// What the filter does with an event of an object, if it is a part of a window. True where Qt is to do nothing more
/// with it.
bool handlePartEvent(QObject *object, QEvent *event);
bool handleEvent(HWND window, Roles roles, QObject *object, QEvent *event);

// One file a kind of event; all give true where the event has become a message.

bool handleKey(HWND window, QObject *object, QKeyEvent &event);
bool handleMouse(HWND window, QObject *object, QMouseEvent &event);
bool handleWheel(HWND window, QObject *object, QWheelEvent &event);
/// For what had to wait behind a key.
void sendQueuedMouse(HWND window, QObject *object, QEvent &event);
bool handleLeave(HWND window, QObject *object, QEvent &event);
bool handlePaint(HWND window, QObject *object, QPaintEvent &event);
bool handleNonClientPaint(HWND window, QObject *object, QPaintEvent &event);
bool handlePlace(HWND window, QObject *object, QEvent &event);

/// An event of an object that waits in the queue of messages.
struct QueuedEvent {
    QPointer<QObject> object;
    std::unique_ptr<QEvent> event;
};
/// Queues an event as a message.
void queueEvent(HWND window, UINT message, WPARAM wParam, LPARAM lParam, QObject *object, const QEvent &event);
/// Sends what was queued.
LRESULT dispatchQueued(const MSG &message, const Origin &origin);

// The end of every chain of procedures, by subject; false for a message of another.
std::optional<LRESULT> defaultMouse(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
std::optional<LRESULT> defaultPlace(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

/// The mouse is no longer the window's, if it was: WM_CAPTURECHANGED.
void takeCapture(HWND window);
void releaseCapture(HWND window);

} // namespace dm::platform
