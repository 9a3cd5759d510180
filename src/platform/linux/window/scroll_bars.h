// The scroll bars of controls, which a program may paint itself.
#pragma once

#include "platform/win32.h"

class QAbstractScrollArea;

namespace dm::platform {

/// Paints of the bars, and of the corner between them, become WM_NCPAINT.
void addScrollBars(HWND window, QAbstractScrollArea &area);

} // namespace dm::platform
