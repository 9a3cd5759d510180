#include "platform/linux/window/theme_variant.h"

#include <QGuiApplication>
#include <QWidget>

#include <cstdlib>
#include <cstring>

#include <xcb/xcb.h>

namespace dm::platform {

void setThemeVariant(const QWidget &widget, bool dark) {
    const auto *x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    // Off screen there is one that is connected to nothing.
    xcb_connection_t *connection = x11 == nullptr ? nullptr : x11->connection();
    if (connection == nullptr)
        return;
    const auto atomOf = [connection](const char *name) {
        const auto asked = xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(std::strlen(name)), name);
        xcb_intern_atom_reply_t *reply = xcb_intern_atom_reply(connection, asked, nullptr);
        const xcb_atom_t atom = reply == nullptr ? xcb_atom_t{XCB_ATOM_NONE} : reply->atom;
        std::free(reply);
        return atom;
    };
    const char *variant = dark ? "dark" : "light";
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, static_cast<xcb_window_t>(widget.internalWinId()),
                        atomOf("_GTK_THEME_VARIANT"), atomOf("UTF8_STRING"), 8,
                        static_cast<std::uint32_t>(std::strlen(variant)), variant);
    xcb_flush(connection);
}

} // namespace dm::platform
