// The notification icon as a status notifier item (the desktops' convention at
// freedesktop.org/wiki/Specifications/StatusNotifierItem), which a host in the desktop's panel shows.
#pragma once

#include "platform/linux/window/notify.h"

#include <QDBusServiceWatcher>
#include <QObject>

namespace dm::platform {

class StatusNotifier final : public QObject {
    Q_OBJECT

public:
    /// Offers the icon to whatever host there is, or will be.
    explicit StatusNotifier(const NotifyIcon &icon);
    ~StatusNotifier() override;

    /// A host shows the icon now.
    bool isHosted() const { return hosted_; }
    /// The icon has got another tip or picture.
    void update();
    const NotifyIcon &icon() const { return icon_; }

signals:
    void hostedChanged();

private slots:
    void onDisconnected();
    void askForHost();

private:
    void registerItem();
    void setHosted(bool hosted);

    const NotifyIcon &icon_;
    QDBusServiceWatcher watcher_;
    QString service_;
    bool exported_ = false;
    bool hosted_ = false;
};

} // namespace dm::platform
