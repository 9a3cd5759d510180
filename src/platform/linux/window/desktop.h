// Screens and their scale.
#pragma once

namespace dm::platform {

/// Tells all top-level windows their scale if it is not the one that they know (WM_DPICHANGED).
void tellScale();

} // namespace dm::platform
