#include "platform/linux/window/x11.h"

#include <QGuiApplication>
#include <QWindow>

#include <cstdlib>
#include <cstring>
#include <memory>

namespace dm::platform {
namespace {

template <typename Reply>
using ReplyOwner = std::unique_ptr<Reply, decltype(&std::free)>;

} // namespace

xcb_connection_t *x11Connection() {
    const auto *x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    // Off screen there is one that is connected to nothing.
    return x11 == nullptr ? nullptr : x11->connection();
}

xcb_atom_t x11Atom(const char *name) {
    xcb_connection_t *connection = x11Connection();
    const auto asked = xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(std::strlen(name)), name);
    const ReplyOwner<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(connection, asked, nullptr), std::free);
    return reply == nullptr ? xcb_atom_t{XCB_ATOM_NONE} : reply->atom;
}

bool alphaShows() {
    xcb_connection_t *connection = x11Connection();
    if (connection == nullptr)
        return true;
    // The compositor of the first screen; Qt knows no other.
    const auto asked = xcb_get_selection_owner(connection, x11Atom("_NET_WM_CM_S0"));
    const ReplyOwner<xcb_get_selection_owner_reply_t> reply(xcb_get_selection_owner_reply(connection, asked, nullptr),
                                                            std::free);
    return reply != nullptr && reply->owner != XCB_WINDOW_NONE;
}

void correctPlace(QWindow &window) {
    xcb_connection_t *connection = x11Connection();
    if (connection == nullptr || window.handle() == nullptr)
        return;
    const auto id = static_cast<xcb_window_t>(window.winId());
    const xcb_screen_t *screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    const auto asked = xcb_translate_coordinates(connection, id, screen->root, 0, 0);
    const ReplyOwner<xcb_translate_coordinates_reply_t> reply(
        xcb_translate_coordinates_reply(connection, asked, nullptr), std::free);
    // The window manager answers a request for the place where it stands by telling that place.
    if (reply != nullptr && window.position() != QPoint(reply->dst_x, reply->dst_y))
        window.setPosition(reply->dst_x, reply->dst_y);
}

} // namespace dm::platform
