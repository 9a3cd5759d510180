#include "platform/linux/window/theme_variant.h"

#include "platform/linux/window/x11.h"

#include <QWidget>

#include <cstring>

namespace dm::platform {

void setThemeVariant(const QWidget &widget, bool dark) {
    xcb_connection_t *connection = x11Connection();
    if (connection == nullptr)
        return;
    const char *variant = dark ? "dark" : "light";
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, static_cast<xcb_window_t>(widget.internalWinId()),
                        x11Atom("_GTK_THEME_VARIANT"), x11Atom("UTF8_STRING"), 8,
                        static_cast<std::uint32_t>(std::strlen(variant)), variant);
    xcb_flush(connection);
}

} // namespace dm::platform
