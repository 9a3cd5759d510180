// Icon handles.
#pragma once

#include "platform/win32.h"

#include <QIcon>

namespace dm::platform {

/// The null icon for a null handle.
QIcon iconOf(HICON icon);

} // namespace dm::platform
