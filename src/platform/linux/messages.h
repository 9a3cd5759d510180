// The program's own windows, as far as messages go, and the queue of the thread that owns them.
#pragma once

#include "platform/win32.h"

namespace dm::platform {

/// True for a window of this program that stands. Any thread may ask.
bool isOwnWindow(HWND window);

/// Puts a message behind all others and wakes the thread that waits. False with the last error set for a window that is
/// no longer there. Any thread may post.
bool post(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

} // namespace dm::platform
