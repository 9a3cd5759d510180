// The windows that show what a clean-up would delete. Each shows the scan that was there when it was opened.
#pragma once

#include "platform/win32.h"

#include <vector>

namespace dm {

/// Opens a further window over a copy of the last scan; without one it says so and opens nothing.
void openPreview();
/// The open ones. Destroying a window changes the list.
const std::vector<HWND> &previewWindows();

} // namespace dm
