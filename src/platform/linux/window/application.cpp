#include "platform/linux/window/application.h"

#include "platform/linux/messages.h"
#include "platform/linux/window/accessibility.h"
#include "platform/linux/window/control_classes.h"
#include "platform/linux/window/desktop_settings.h"
#include "platform/linux/window/events.h"
#include "platform/linux/window/place.h"
#include "platform/linux/window/style.h"

#include <QAbstractEventDispatcher>
#include <QPixmapCache>
#include <QThread>

#include <array>
#include <atomic>
#include <cstdio>
#include <memory>
#include <utility>

#include <xcb/xcb.h>

namespace dm::platform {
namespace {

/// How deep in Qt's loops GetMessageW waits, or -1.
int waitingLevel = -1;

/// The dispatcher of the thread of the windows; null while there is no application.
std::atomic<QAbstractEventDispatcher *> dispatcher = nullptr;

bool screenFound = true;

std::unique_ptr<QApplication> &theApplication() {
    static std::unique_ptr<QApplication> application;
    return application;
}

/// The windows know and keep their positions, which Wayland tells nobody: there it is X through XWayland.
void choosePlatform() {
    if (qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        return;
    xcb_connection_t *connection = xcb_connect(nullptr, nullptr);
    qputenv("QT_QPA_PLATFORM", xcb_connection_has_error(connection) == 0 ? "xcb" : "offscreen");
    if (xcb_connection_has_error(connection) != 0) {
        std::fputs("There is no screen to show windows on.\n", stderr);
        screenFound = false;
    }
    xcb_disconnect(connection);
}

/// Pixels are to be real pixels: the program scales by itself.
void turnScalingOff() {
    qputenv("QT_ENABLE_HIGHDPI_SCALING", "0");
    for (const char *variable : {"QT_SCALE_FACTOR", "QT_SCREEN_SCALE_FACTORS", "QT_USE_PHYSICAL_DPI", "QT_FONT_DPI"})
        qunsetenv(variable);
}

/// Before a loop waits that is not GetMessageW's, but a dialog's or a menu's: what is posted goes straight to the
/// windows.
void sendPostedInsideDialogs() {
    if (waitingLevel == QThread::currentThread()->loopLevel())
        return;
    MSG message;
    bool sent = false;
    // The end of the program's loop is not for these.
    while (PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE) != FALSE && message.message != WM_QUIT) {
        PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE);
        DispatchMessageW(&message);
        sent = true;
    }
    // What was sent may have ended the loop that is about to wait.
    if (sent)
        dispatcher.load()->wakeUp();
}

void wait() {
    application();
    buryWidgets();
    const int outer = std::exchange(waitingLevel, QThread::currentThread()->loopLevel());
    QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    waitingLevel = outer;
}

void wake() {
    if (QAbstractEventDispatcher *waiting = dispatcher)
        waiting->wakeUp();
}

constexpr WindowLibrary library = {
    .make = makeWindow,
    .made = windowMade,
    .hide = hideWindow,
    .remove = removePane,
    .defaultProcedure = defaultProcedure,
    .dispatch = dispatchQueued,
    .wait = wait,
    .wake = wake,
};

} // namespace

QApplication &application() {
    if (theApplication() != nullptr)
        return *theApplication();
    static int count = 1;
    static std::array<char, 9> name = {"dustmere"};
    static std::array<char *, 2> arguments = {name.data(), nullptr};
    choosePlatform();
    turnScalingOff();
    QApplication::setStyle(newStyle());
    theApplication() = std::make_unique<QApplication>(count, arguments.data());
    QGuiApplication::setQuitOnLastWindowClosed(false);
    QGuiApplication::setDesktopFileName("dustmere");
    dispatcher = QAbstractEventDispatcher::instance();
    QObject::connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, &eventWatcher(), sendPostedInsideDialogs);
    watchDesktop();
    // In KiB. Qt would keep 10 MB of what its controls once looked like; the program draws them itself.
    QPixmapCache::setCacheLimit(512);
    describeWindows();
    return *theApplication();
}

bool hasScreen() {
    application();
    return screenFound;
}

WindowSystem::WindowSystem() {
    registerControlClasses();
    setWindowLibrary(&library);
}

WindowSystem::~WindowSystem() {
    for (const HWND window : topLevelWindows())
        DestroyWindow(window);
    buryWidgets();
    setWindowLibrary(nullptr);
    dispatcher = nullptr;
    theApplication().reset();
}

} // namespace dm::platform
