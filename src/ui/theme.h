// The colours of the chosen theme and accent, kept true to the system, and the interface fonts.
#pragma once

#include "platform/text.h"
#include "platform/win32.h"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace dm::ui {

/// A colour as 0xAARRGGBB.
using Argb = std::uint32_t;

struct Palette {
    Argb windowBackground = 0;
    Argb sidebarBackground = 0;
    Argb cardBackground = 0;
    Argb fieldBackground = 0;
    Argb textPrimary = 0;
    Argb textMuted = 0;
    Argb borderColor = 0;
    Argb accentColor = 0;
    Argb accentText = 0;
    Argb accentTint = 0;
    Argb onAccent = 0;
    Argb sidebarText = 0;
    Argb sidebarMuted = 0;

    bool operator==(const Palette &) const = default;
};

struct Accent {
    std::string_view setting;
    const WChar *label; ///< to be translated
    Argb color;
};

/// In the order of their controls.
extern const std::array<Accent, 6> accents;

/// What the system says about the look of programs.
struct SystemLook {
    bool highContrast = false;
    bool animation = true;
    bool lightApps = true;
    Argb window = 0xFFFFFFFF;
    Argb windowText = 0xFF000000;
    Argb highlight = 0xFF000000;
    Argb highlightText = 0xFFFFFFFF;
};

/// The colours in force, and what goes with them.
struct Look {
    Palette palette;
    bool isDark = false;
    bool highContrast = false;
    bool reduceMotion = false; ///< animations jump to their end values
};

/// The look for the settings of theme and accent on such a system. Unknown settings are "light" and "emerald".
Look lookFor(std::string_view theme, std::string_view accent, const SystemLook &system);

/// What applyTheme has computed last. One set a process, on the windows' thread.
extern Palette palette;
extern bool isDark;
extern bool highContrast;
extern bool reduceMotion;

/// For the messages that ask for a brush; made anew by every applyTheme.
struct ThemeBrushes {
    HBRUSH card = nullptr;
    HBRUSH window = nullptr;
    HBRUSH field = nullptr;
};
extern ThemeBrushes themeBrushes;

/// For the system's own controls; made anew by every rebuildFonts.
struct ControlFonts {
    HFONT baseFont = nullptr;
    HFONT headingFont = nullptr;
    HFONT smallFont = nullptr;
};
extern ControlFonts controlFonts;

/// The colour at `t` (0 to 1) on the way from one to the other, fully opaque. Every shade of the program is one of
/// these of two palette colours.
Argb mixColor(Argb a, Argb b, float t);

/// Recomputes look and brushes from the settings and the system, and repaints.
void applyTheme();
/// Makes the title bar dark where the theme is; null is the main window, and nothing if there is none.
void applyTitleBarTheme(HWND window);
/// Makes the control fonts anew for the current scale and language and gives them to the controls. Where one of them
/// cannot be made, the old ones stay.
void rebuildFonts();
/// Deletes brushes and fonts, when no window is left.
void releaseTheme();

/// The family for texts in a language, by its two-letter code.
const WString &interfaceFontFor(const std::string &languageCode);
/// The same for the current language.
const WString &currentInterfaceFont();

} // namespace dm::ui
