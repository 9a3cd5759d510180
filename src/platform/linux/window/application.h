// The Qt application behind the windows.
#pragma once

#include <QApplication>

namespace dm::platform {

/// Makes the windows of this program real ones as long as it lives. It costs nothing until something is asked for that
/// needs a screen.
class WindowSystem {
public:
    WindowSystem();
    WindowSystem(const WindowSystem &) = delete;
    WindowSystem &operator=(const WindowSystem &) = delete;
    ~WindowSystem();
};

/// Made on the first call.
QApplication &application();
/// False where there is no screen to show windows on.
bool hasScreen();

} // namespace dm::platform
