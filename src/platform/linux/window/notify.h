// The icon in the notification area, between the program and what shows it.
#pragma once

#include "platform/win32.h"

#include <QIcon>
#include <QPoint>
#include <QString>

namespace dm::platform {

struct NotifyIcon {
    HWND window = nullptr;
    UINT id = 0;
    UINT callback = 0;
    bool version4 = false;
    QIcon icon;
    QString tip;
};

/// Where nobody knows where on the screen something happened.
constexpr QPoint nowhere(-1, -1);

/// What shows the icon tells the program of NIN_SELECT, NIN_KEYSELECT, WM_CONTEXTMENU and NIN_BALLOONUSERCLICK.
void tellNotifyEvent(UINT event, QPoint place);

} // namespace dm::platform
