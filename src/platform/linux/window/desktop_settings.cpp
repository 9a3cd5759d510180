// The settings come from the desktop's portal (org.freedesktop.portal.Settings), which every desktop answers in the
// same way; what it does not know keeps its default.
#include "platform/linux/window/desktop_settings.h"

#include "platform/linux/own_windows.h"
#include "platform/linux/window/application.h"
#include "platform/linux/window/desktop.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusPendingCall>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QFile>
#include <QScreen>

#include <memory>

namespace dm::platform {
namespace {

const QString portalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString portalInterface = QStringLiteral("org.freedesktop.portal.Settings");

/// A name space of settings, and what its keys mean.
using Values = QMap<QString, QMap<QString, QVariant>>;

struct State {
    DesktopSettings settings;
    std::unique_ptr<QDBusPendingCall> asked;
};

State &state() {
    static State state;
    return state;
}

/// Portals put values into one variant or into two.
QVariant plainOf(QVariant value) {
    while (value.canConvert<QDBusVariant>())
        value = value.value<QDBusVariant>().variant();
    return value;
}

void take(const QString &space, const QString &key, const QVariant &boxed) {
    const QVariant value = plainOf(boxed);
    DesktopSettings &settings = state().settings;
    if (space == QLatin1String("org.freedesktop.appearance")) {
        if (key == QLatin1String("color-scheme"))
            settings.dark = value.toUInt() == 1;
        else if (key == QLatin1String("contrast"))
            settings.highContrast = value.toUInt() == 1;
    } else if (space == QLatin1String("org.gnome.desktop.a11y.interface")) {
        if (key == QLatin1String("high-contrast"))
            settings.highContrast = value.toBool();
    } else if (space == QLatin1String("org.gnome.desktop.interface")) {
        if (key == QLatin1String("enable-animations"))
            settings.animations = value.toBool();
        else if (key == QLatin1String("font-antialiasing")) {
            settings.smoothFonts = value.toString() != QLatin1String("none");
            settings.subpixelFonts = value.toString() == QLatin1String("rgba");
        }
    }
}

void takeAll(const QDBusMessage &reply) {
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return;
    const auto values = qdbus_cast<Values>(reply.arguments().constFirst());
    for (auto space = values.cbegin(); space != values.cend(); ++space) {
        for (auto value = space->cbegin(); value != space->cend(); ++value)
            take(space.key(), value.key(), value.value());
    }
}

void tellAll(UINT message, WPARAM wParam = 0, LPARAM lParam = 0) {
    for (const HWND window : topLevelWindows()) {
        if (isOwnWindow(window))
            SendMessageW(window, message, wParam, lParam);
    }
}

/// Hears the portal's changes.
class PortalWatcher final : public QObject {
    Q_OBJECT

public slots:
    void changed(const QDBusMessage &change) {
        desktopSettings(); // an older answer must not come after this
        const QList<QVariant> values = change.arguments();
        if (values.size() == 3)
            take(values[0].toString(), values[1].toString(), values[2]);
        tellAll(WM_SETTINGCHANGE);
    }
};

/// Only one that is there: asked for a bus, the library would start one where there is none.
bool hasSessionBus() {
    return qEnvironmentVariableIsSet("DBUS_SESSION_BUS_ADDRESS") ||
           QFile::exists(qEnvironmentVariable("XDG_RUNTIME_DIR") + QStringLiteral("/bus"));
}

void askPortal() {
    if (!hasSessionBus())
        return;
    qDBusRegisterMetaType<Values>();
    qDBusRegisterMetaType<QMap<QString, QVariant>>();
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    static PortalWatcher watcher;
    bus.connect(portalService, portalPath, portalInterface, QStringLiteral("SettingChanged"), &watcher,
                SLOT(changed(QDBusMessage)));
    QDBusMessage question =
        QDBusMessage::createMethodCall(portalService, portalPath, portalInterface, QStringLiteral("ReadAll"));
    question << QStringList{QStringLiteral("org.freedesktop.appearance"), QStringLiteral("org.gnome.desktop.interface"),
                            QStringLiteral("org.gnome.desktop.a11y.interface")};
    constexpr int longestWait = 1000; // milliseconds
    state().asked = std::make_unique<QDBusPendingCall>(bus.asyncCall(question, longestWait));
}

void watchScreen(QScreen *screen) {
    const auto displayChanged = [] {
        const QSize size = QGuiApplication::primaryScreen()->size();
        tellAll(WM_DISPLAYCHANGE, 32, MAKELPARAM(size.width(), size.height()));
    };
    QObject::connect(screen, &QScreen::geometryChanged, screen, displayChanged);
    QObject::connect(screen, &QScreen::availableGeometryChanged, screen, [] { tellAll(WM_SETTINGCHANGE); });
    QObject::connect(screen, &QScreen::logicalDotsPerInchChanged, screen, tellScale);
}

} // namespace

void watchDesktop() {
    askPortal();
    QApplication &app = application();
    for (QScreen *screen : QGuiApplication::screens())
        watchScreen(screen);
    QObject::connect(&app, &QGuiApplication::screenAdded, &app, [](QScreen *screen) {
        watchScreen(screen);
        tellAll(WM_DISPLAYCHANGE);
    });
    QObject::connect(&app, &QGuiApplication::screenRemoved, &app, [] { tellAll(WM_DISPLAYCHANGE); });
    QObject::connect(&app, &QGuiApplication::fontDatabaseChanged, &app, [] { tellAll(WM_FONTCHANGE); });
}

const DesktopSettings &desktopSettings() {
    application();
    if (const std::unique_ptr<QDBusPendingCall> asked = std::move(state().asked)) {
        asked->waitForFinished();
        takeAll(asked->reply());
    }
    return state().settings;
}

} // namespace dm::platform

#include "desktop_settings.moc"
