// Dark scroll bars for list views and text fields, which the system has none for.
#pragma once

#include "platform/win32.h"
#include "ui/theme.h"

#include <array>

namespace dm::ui {

/// Draws the window's scroll bars in the dark theme; in any other they are left to the system.
void paintThemedScrollBars(HWND window, Argb thumbColor, Argb arrowColor);

/// Draws them whenever the system has drawn its own.
void subclassScrollBars(HWND window);

/// Two lines from the tip.
struct Chevron {
    POINT tip;
    POINT ends[2];
};

/// What is drawn of a scroll bar, in the coordinates of its rectangle.
struct ScrollBarShape {
    RECT thumb; ///< empty where there is none
    int thumbRadius;
    std::array<Chevron, 2> arrows; ///< at the start and at the end
};

/// For a bar whose thumb lies from `thumbStart` to `thumbEnd` behind its start, with arrow buttons of this length.
ScrollBarShape scrollBarShape(const RECT &bar, bool vertical, int thumbStart, int thumbEnd, int buttonLength);

} // namespace dm::ui
