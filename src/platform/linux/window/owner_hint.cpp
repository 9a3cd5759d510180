#include "platform/linux/window/owner_hint.h"

#include <QGuiApplication>
#include <QWidget>

#include <xcb/xcb.h>

namespace dm::platform {

void setOwnerHint(const QWidget &widget, const QWidget &owner) {
    const auto *x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    if (x11 == nullptr || x11->connection() == nullptr) // the offscreen platform gives one without a connection
        return;
    const auto above = static_cast<xcb_window_t>(owner.internalWinId());
    xcb_change_property(x11->connection(), XCB_PROP_MODE_REPLACE, static_cast<xcb_window_t>(widget.internalWinId()),
                        XCB_ATOM_WM_TRANSIENT_FOR, XCB_ATOM_WINDOW, 32, 1, &above);
    xcb_flush(x11->connection());
}

} // namespace dm::platform
