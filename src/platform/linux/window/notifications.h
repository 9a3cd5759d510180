// What the desktop's notification service (org.freedesktop.Notifications) shows.
#pragma once

#include <QString>

namespace dm::platform {

/// A click on it is told to the program as NIN_BALLOONUSERCLICK. Without a service nothing is shown.
void showNotification(const QString &title, const QString &text);

} // namespace dm::platform
