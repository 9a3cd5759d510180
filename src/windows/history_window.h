// The window that shows the activity history as text.
#pragma once

#include "platform/win32.h"

#include <vector>

namespace dm {

/// Brings up the open window, read anew, or opens one.
void openHistory();
/// The open ones. Destroying a window changes the list.
const std::vector<HWND> &historyWindows();
/// Makes each open one read the history anew.
void refreshHistoryWindows();

} // namespace dm
