// The desktop widget: a small window with rounded corners and adjustable opacity that shows the state of a scan and the
// space on the drives.
#pragma once

#include "platform/win32.h"

namespace dm {

/// Null while there is none.
HWND widgetWindow();
/// Makes it or destroys it, as the setting says.
void syncWidget();
/// Brings it in line with what runs, the drives and the screen, and repaints it.
void refreshWidget();

} // namespace dm
