// The queue of the thread that owns the windows.
#pragma once

#include "platform/linux/own_windows.h"
#include "platform/win32.h"

namespace dm::platform {

/// Puts a message behind all others and wakes the thread that waits. False with the last error set for a window that is
/// no longer there. Any thread may post.
bool post(HWND window, UINT message, WPARAM wParam, LPARAM lParam, Origin origin = nullptr);

/// Gives the keys that are posted to a window to another one.
void readdressKeys(HWND from, HWND to);

/// Drops what is posted to a window.
void dropPosted(HWND window);

} // namespace dm::platform
