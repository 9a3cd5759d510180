// A message bus that nobody else has.
#pragma once

#include "environment.h"

#include <QDBusConnection>
#include <QProcess>

namespace dm::test {

/// The session's bus for all that is asked for later.
class PrivateBus {
public:
    PrivateBus() {
        daemon_.start(QStringLiteral("dbus-daemon"),
                      {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--print-address")});
        if (!daemon_.waitForStarted() || !daemon_.waitForReadyRead())
            return;
        const QByteArray address = daemon_.readLine().trimmed();
        address_ = QString::fromUtf8(address);
        setEnvironment({{"DBUS_SESSION_BUS_ADDRESS", address.constData()}});
    }
    PrivateBus(const PrivateBus &) = delete;
    PrivateBus &operator=(const PrivateBus &) = delete;
    ~PrivateBus() {
        daemon_.terminate();
        daemon_.waitForFinished();
    }

    /// False where there is no dbus-daemon.
    bool isThere() const { return !address_.isEmpty(); }
    /// A new connection of that name.
    QDBusConnection connect(const QString &name) const { return QDBusConnection::connectToBus(address_, name); }

private:
    QProcess daemon_;
    QString address_;
};

} // namespace dm::test
