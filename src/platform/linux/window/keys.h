// Keys as Qt and as messages tell them.
#pragma once

#include "platform/win32.h"

#include <QKeyEvent>

namespace dm::platform {

/// VK_PACKET for a key that has no number.
WPARAM virtualKeyOf(const QKeyEvent &event);

} // namespace dm::platform
