// What the programs that take pictures of windows have in common.
#pragma once

#include "platform/win32.h"

#include <string>

namespace dm::bench {

/// A look of the program on a desktop.
struct Look {
    const char *name;
    const char *theme; ///< the setting
    bool highContrast;
};
inline constexpr Look looks[] = {
    {"light", "light", false}, {"dark", "dark", false}, {"contrast", "dark", true}, {"whitecontrast", "light", true}};

inline constexpr const char *languages[] = {"en", "de", "ru", "ar", "hi", "th", "ja"};

/// Has the program believe that the desktop is like this, and use the theme. Nothing moves there: a picture shows the
/// end of what is on its way. The main window stands.
void useLook(const Look &look);
/// Runs until what there is to paint has been painted.
void settle();
/// Stores what the screen shows of the window as a PNG file, and prints its name.
void takePicture(HWND window, const std::string &path);

} // namespace dm::bench
