// Where windows stand, and whether they are there to be seen.
#pragma once

#include "platform/linux/window/panes.h"

namespace dm::platform {

// What the window library does for windows that are made and end.
bool makeWindow(HWND window, const CREATESTRUCTW &creation);
void windowMade(HWND window, bool visible);
void hideWindow(HWND window);

/// The end of every chain of procedures.
LRESULT defaultProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

/// The window that has no parent: the one itself, or the one that it stands in.
HWND topLevelOf(HWND window);
/// Sends WM_SIZE if the size or the state is not the one that was told last.
void tellSize(Pane &pane);
/// Moves the focus away from a window that is about to lose the right to it.
void leaveFocus(HWND window);
/// Once the window manager has made the frame, the window takes the size that it was to have with it.
void settleFrame(HWND window);

} // namespace dm::platform
