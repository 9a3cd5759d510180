// What the window system has that Qt does not tell.
#pragma once

#include <xcb/xcb.h>

class QWindow;

namespace dm::platform {

/// The connection that Qt has, null outside X.
xcb_connection_t *x11Connection();
/// XCB_ATOM_NONE where there is no answer.
xcb_atom_t x11Atom(const char *name);
/// Whether a window's alpha shows. In X that is the work of a compositor, which not every desktop has; elsewhere true.
bool alphaShows();
/// Has Qt learn where a window really is. Qt asks for the place of a window that is being framed when it is told of it,
/// and may hear the answer of a moment before the frame came to its place, and nothing more.
void correctPlace(QWindow &window);

} // namespace dm::platform
