// What the person has set for the whole desktop.
#pragma once

namespace dm::platform {

struct DesktopSettings {
    bool dark = false;
    bool highContrast = false;
    bool animations = true;
    bool smoothFonts = true;
    bool subpixelFonts = false;
};

/// Begins to ask for the settings, and from then on tells all top-level windows what changes: settings, fonts, screens
/// and their scale.
void watchDesktop();
/// Waits for the answer if it is not there yet, at most a second in all.
const DesktopSettings &desktopSettings();

} // namespace dm::platform
