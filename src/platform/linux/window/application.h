// The Qt application behind the windows.
#pragma once

#include <QApplication>

namespace dm::platform {

/// Made on the first call.
QApplication &application();

} // namespace dm::platform
