#include "windows/camera.h"

#include "platform/linux/window/desktop_settings.h"
#include "platform/linux/window/panes.h"
#include "ui/main_view.h"

#include <QCoreApplication>
#include <QPixmap>
#include <QScreen>

#include <cstdio>
#include <stdexcept>
#include <string_view>

namespace dm::bench {

void useLook(const Look &look) {
    auto &desktop = const_cast<platform::DesktopSettings &>(platform::desktopSettings());
    desktop.dark = look.theme == std::string_view("dark");
    desktop.highContrast = look.highContrast;
    desktop.animations = false;
    ui::mainView.settings.theme = look.theme;
    SendMessageW(ui::mainView.window, WM_SETTINGCHANGE, 0, 0);
}

void settle() {
    for (int round = 0; round < 6; ++round) {
        QCoreApplication::sendPostedEvents();
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }
}

void takePicture(HWND window, const std::string &path) {
    constexpr int fast = 80; // as PNG understands quality: less time for more bytes
    settle();
    const QWidget *widget = platform::paneOf(window)->widget;
    const QPixmap picture = widget->screen()->grabWindow(widget->winId());
    if (!picture.save(QString::fromStdString(path), "PNG", fast))
        throw std::runtime_error("cannot write " + path);
    std::printf("%s\n", path.c_str());
}

} // namespace dm::bench
