// The icon in the notification area: the way back to a hidden main window, and out of the program.
#pragma once

#include "platform/win32.h"

namespace dm {

/// The number of the registered message "TaskbarCreated", which tells that the notification area is a new one.
extern UINT taskbarCreatedMessage;

/// Gives whether the icon is there. Where it cannot be added, that is tried again by the main window's timer 4.
bool addNotifyIcon();
/// Takes the icon away for good.
void removeNotifyIcon();
/// Brings the icon's tip up to date, and with it the icon back where it has gone.
void updateNotifyTip();

/// Hides the main window and its companions, but never without an icon that brings them back. While a dialog is open
/// the hide waits for its end.
void hideToNotificationArea();
/// Shows what was hidden and brings the main window, or the dialog above it, to the front.
void restoreMainWindow();

/// What the messages of the main window lead to: TaskbarCreated, WM_APP_TRAY and timer 4.
void onTaskbarCreated();
void onNotifyIcon(WPARAM wParam, LPARAM lParam);
void retryNotifyIcon();

/// An event of the icon: of which icon, and where on the screen; both are -1 where it was not a pointer's.
struct NotifyEvent {
    UINT id = 0;
    UINT event = 0;
    POINT anchor = {};
};

/// Takes WM_APP_TRAY apart. Before version 4 it tells no place.
NotifyEvent decodeNotifyEvent(WPARAM wParam, LPARAM lParam, bool version4);

/// What an event asks for.
enum class NotifyAction { None, Menu, Restore };
NotifyAction notifyActionOf(const NotifyEvent &event, bool version4);

} // namespace dm
