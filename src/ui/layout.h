// Where the main window's controls stand: declared anew by every pass, then brought about in one batch.
#pragma once

#include "platform/win32.h"
#include "ui/main_view.h"

#include <vector>

namespace dm::ui {

/// The grid of the main window, in DIPs.
struct LayoutMetrics {
    float width = 0;
    float height = 0;
    float sidebarWidth = 0;
    float contentLeft = 0;
    float rightColumnLeft = 0;
    float leftColumnWidth = 0;
    float rightColumnWidth = 0;
    float cardsTop = 0;
    float heroHeight = 0;
    float listHeight = 0;
};

/// For a client area of this size in pixels.
LayoutMetrics computeMetrics(int clientWidth, int clientHeight, float uiScale);
/// For the main window as it stood at the last layout.
const LayoutMetrics &mainMetrics();

/// A control and its place in DIPs.
struct Placement {
    int id;
    float x;
    float y;
    float w;
    float h;
};

/// The controls that a page shows, with those that every page shows.
std::vector<Placement> placements(const LayoutMetrics &metrics, PageId page, bool operationRuns);

/// The pixels of a place.
RECT placedRect(float x, float y, float w, float h, float scale);

/// The scale at which the design grid of 1100 by 790 DIPs fits the client area; never above the DPI scale.
float fittingScale(int clientWidth, int clientHeight, float dpiScale);
/// The scale that follows it, from the one in force: small differences are not worth new fonts.
float nextScale(float candidate, float current);
/// Answers WM_SIZE of the main window, but for a minimised one: scale, fonts and layout.
void resizeMainWindow(int clientWidth, int clientHeight);

/// Shows, hides, places, enables and names the main window's controls as the state has it now, and repaints. To be
/// called after anything that could change what is shown.
void layoutMainWindow();
/// Says that this layout pass wants the control there, in DIPs; one that does not exist is left out.
void placeControl(int id, float x, float y, float w, float h);

/// The rectangle, cut to the work area less a margin of 8 and moved inside it.
RECT clampToArea(const RECT &rect, const RECT &workArea);
/// The same for the work area of the nearest monitor.
RECT clampToWorkArea(const RECT &rect);
void moveClamped(HWND window, const RECT &rect);
/// Places a child, in pixels of its parent, if it is not there already.
void moveControl(HWND window, int x, int y, int w, int h);
/// Rounded, at least 1.
int scaledPixels(float dip, float scale);

} // namespace dm::ui
