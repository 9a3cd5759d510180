#include "platform/linux/window/notifications.h"

#include "platform/linux/window/notify.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QObject>
#include <QVariantMap>

namespace dm::platform {
namespace {

const QString service = QStringLiteral("org.freedesktop.Notifications");
const QString path = QStringLiteral("/org/freedesktop/Notifications");
const QString wholeNotification = QStringLiteral("default");

/// Knows the notification that was shown last.
class Notifications final : public QObject {
    Q_OBJECT

public:
    Notifications() {
        QDBusConnection::sessionBus().connect(service, path, service, QStringLiteral("ActionInvoked"), this,
                                              SLOT(onAction(uint, QString)));
    }

    void show(const QString &title, const QString &text) {
        QDBusMessage call = QDBusMessage::createMethodCall(service, path, service, QStringLiteral("Notify"));
        constexpr int serviceDecides = -1;
        call << QStringLiteral("Dustmere") << last_ << QStringLiteral("dustmere") << title << text
             << QStringList{wholeNotification, title}
             << QVariantMap{{QStringLiteral("desktop-entry"), QStringLiteral("dustmere")}} << serviceDecides;
        auto *answer = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call), this);
        connect(answer, &QDBusPendingCallWatcher::finished, this, [this, answer] {
            const QDBusPendingReply<uint> reply = *answer;
            last_ = reply.isValid() ? reply.value() : 0;
            answer->deleteLater();
        });
    }

private slots:
    void onAction(uint id, const QString &action) {
        if (id == last_ && action == wholeNotification)
            tellNotifyEvent(NIN_BALLOONUSERCLICK, nowhere);
    }

private:
    uint last_ = 0;
};

} // namespace

void showNotification(const QString &title, const QString &text) {
    static Notifications notifications;
    if (QDBusConnection::sessionBus().isConnected())
        notifications.show(title, text);
}

} // namespace dm::platform

#include "notifications.moc"
