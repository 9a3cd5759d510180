#include "platform/linux/window/notify.h"

#include "platform/linux/window/application.h"
#include "platform/linux/window/corner_icon.h"
#include "platform/linux/window/icons.h"
#include "platform/linux/window/notifications.h"
#include "platform/linux/window/panes.h"
#include "platform/linux/window/status_notifier.h"

#include <memory>

namespace dm::platform {
namespace {

void removePresence();

/// The icon and what shows it: a host where there is one, the corner while the window is hidden otherwise.
class Presence final : public QObject {
public:
    explicit Presence(const NotifyIcon &icon) : icon_(icon), notifier_(icon_) {
        connect(&notifier_, &StatusNotifier::hostedChanged, this, [this] { showLater(); });
        QWidget *widget = paneOf(icon.window)->widget;
        widget->installEventFilter(this);
        connect(widget, &QObject::destroyed, qApp, removePresence, Qt::QueuedConnection);
    }

    NotifyIcon &icon() { return icon_; }
    const CornerIcon &corner() const { return corner_; }

    void update() {
        corner_.take(icon_);
        notifier_.update();
        showLater();
    }

    /// Later, as the icon may be on its way to the corner.
    void showBalloon(const QString &title, const QString &text) {
        const auto show = [this, title, text] {
            if (corner_.isVisible())
                corner_.showBalloon(title, text);
            else
                showNotification(title, text);
        };
        QMetaObject::invokeMethod(this, show, Qt::QueuedConnection);
    }

protected:
    bool eventFilter(QObject *, QEvent *event) override {
        if (event->type() == QEvent::Show || event->type() == QEvent::Hide)
            showLater();
        return false;
    }

private:
    bool isWindowHidden() const {
        const Pane *pane = paneOf(icon_.window);
        return pane != nullptr && !pane->widget->isVisible();
    }

    /// What is going on now may be the start of a window that is to be shown, or the middle of its hiding.
    void showLater() {
        QMetaObject::invokeMethod(
            this, [this] { showWhereNeeded(); }, Qt::QueuedConnection);
    }

    void showWhereNeeded() {
        if (!notifier_.isHosted() && isWindowHidden())
            corner_.showInCorner();
        else
            corner_.hide();
    }

    NotifyIcon icon_;
    StatusNotifier notifier_;
    CornerIcon corner_;
};

std::unique_ptr<Presence> &presence() {
    static std::unique_ptr<Presence> presence;
    return presence;
}

void removePresence() {
    presence().reset();
}

bool isOurs(HWND window, UINT id) {
    return presence() != nullptr && presence()->icon().window == window && presence()->icon().id == id;
}

void take(NotifyIcon &icon, const NOTIFYICONDATAW &data) {
    if ((data.uFlags & NIF_MESSAGE) != 0)
        icon.callback = data.uCallbackMessage;
    if ((data.uFlags & NIF_ICON) != 0)
        icon.icon = iconOf(data.hIcon);
    if ((data.uFlags & NIF_TIP) != 0)
        icon.tip = textOf(data.szTip);
}

BOOL add(const NOTIFYICONDATAW &data) {
    if (presence() != nullptr || paneOf(data.hWnd) == nullptr)
        return FALSE;
    NotifyIcon icon;
    icon.window = data.hWnd;
    icon.id = data.uID;
    take(icon, data);
    presence() = std::make_unique<Presence>(icon);
    presence()->update();
    return TRUE;
}

BOOL modify(const NOTIFYICONDATAW &data) {
    take(presence()->icon(), data);
    if ((data.uFlags & (NIF_ICON | NIF_TIP)) != 0)
        presence()->update();
    if ((data.uFlags & NIF_INFO) != 0)
        presence()->showBalloon(textOf(data.szInfoTitle), textOf(data.szInfo));
    return TRUE;
}

BOOL setVersion(UINT version) {
    presence()->icon().version4 = version == NOTIFYICON_VERSION_4;
    return presence()->icon().version4 ? TRUE : FALSE;
}

/// The event of the same meaning from before version 4.
UINT oldEvent(UINT event) {
    switch (event) {
    case WM_CONTEXTMENU:
        return WM_RBUTTONUP;
    case NIN_BALLOONUSERCLICK:
        return event;
    default:
        return WM_LBUTTONUP;
    }
}

} // namespace

void tellNotifyEvent(UINT event, QPoint place) {
    if (presence() == nullptr)
        return;
    const NotifyIcon &icon = presence()->icon();
    if (icon.version4)
        PostMessageW(icon.window, icon.callback, MAKEWPARAM(place.x(), place.y()), MAKELPARAM(event, icon.id));
    else
        PostMessageW(icon.window, icon.callback, icon.id, oldEvent(event));
}

} // namespace dm::platform

using namespace dm::platform;

BOOL WINAPI Shell_NotifyIconW(DWORD message, NOTIFYICONDATAW *data) {
    if (message == NIM_ADD)
        return add(*data);
    if (!isOurs(data->hWnd, data->uID))
        return FALSE;
    switch (message) {
    case NIM_MODIFY:
        return modify(*data);
    case NIM_SETVERSION:
        return setVersion(data->uVersion);
    case NIM_DELETE:
        removePresence();
        return TRUE;
    default:
        return FALSE;
    }
}

HRESULT WINAPI Shell_NotifyIconGetRect(const NOTIFYICONIDENTIFIER *identifier, RECT *rect) {
    if (!isOurs(identifier->hWnd, identifier->uID) || !presence()->corner().isVisible())
        return E_FAIL;
    *rect = rectOf(presence()->corner().geometry());
    return S_OK;
}
