// The resolution of windows.
#pragma once

#include "platform/win32.h"

namespace dm::ui {

/// Dots per inch of the window's screen; where the system cannot tell that of a window, of the whole desktop.
UINT dpiForWindow(HWND window);

} // namespace dm::ui
