// The main window: its procedure is the hub that messages, commands and timers go through.
#pragma once

#include "platform/win32.h"

namespace dm {

// Timers of the main window, beside that of the animation.
inline constexpr UINT_PTR drivesTimer = 1;
inline constexpr UINT_PTR smokeTimer = 2;
inline constexpr UINT_PTR notifyRetryTimer = 4;

/// The size in pixels at which the window opens, for the scale of the desktop.
SIZE mainWindowSize(const RECT &workArea, float scale);

/// The rectangle, cut to the size of the area and moved inside it.
RECT fitInto(const RECT &rect, const RECT &area);

/// False where the class "DustmereReleaseWindow" cannot be registered.
bool registerMainWindow();
/// Makes the window, hidden, with all that belongs to it. Null on failure.
HWND createMainWindow(SIZE size);
LRESULT CALLBACK mainWindowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

/// Reads the drives anew.
void refreshDrives();
/// Sends WM_APP_REFRESH to all other windows, and makes the widget what the settings say.
void refreshAllWindows();
/// Visible, not minimised and not hidden in the notification area.
bool isMainWindowShowing();
/// Paints the window and its controls at once, if they can be seen.
void paintMainWindowNow();
/// Stores the settings; where that fails, the result line tells so, and the settings in memory stay.
void storeSettings();

} // namespace dm
