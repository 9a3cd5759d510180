// The windows' timers.
#pragma once

#include "platform/win32.h"

namespace dm::platform {

/// A window has ended, and no timer outlives it.
void killTimersOf(HWND window);

} // namespace dm::platform
