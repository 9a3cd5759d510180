#include "platform/linux/window/owner_hint.h"

#include "platform/linux/window/x11.h"

#include <QWidget>

namespace dm::platform {

void setOwnerHint(const QWidget &widget, const QWidget &owner) {
    xcb_connection_t *connection = x11Connection();
    if (connection == nullptr)
        return;
    const auto above = static_cast<xcb_window_t>(owner.internalWinId());
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, static_cast<xcb_window_t>(widget.internalWinId()),
                        XCB_ATOM_WM_TRANSIENT_FOR, XCB_ATOM_WINDOW, 32, 1, &above);
    xcb_flush(connection);
}

} // namespace dm::platform
