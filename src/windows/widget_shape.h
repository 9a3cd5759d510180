// The widget's geometry and the shape of its pixels, without any window. Sizes in DIPs are told as such; the others are
// pixels.
#pragma once

#include "core/operations.h"
#include "core/records.h"
#include "platform/text.h"
#include "platform/win32.h"

#include <cstdint>
#include <span>

namespace dm {

inline constexpr int widgetWidth = 360;          ///< DIPs
inline constexpr float widgetCaptionHeight = 96; ///< DIPs; the part that the widget is dragged by

/// How many drives the widget shows: as many as the work area has room for, 1 to 5, and no more than there are.
int widgetRows(int workHeight, float scale, std::size_t drives);
/// The widget's height in DIPs.
int widgetHeight(int rows);
/// The first drive shown, kept so that the rows are filled.
int clampFirstRow(int firstRow, std::size_t drives, int rows);

/// The largest scale, up to the screen's, at which the widget fits its client area.
float widgetScale(SIZE client, int heightDips, float dpiScale);

/// Where the widget is created: the stored place, or else the top right of the work area.
RECT widgetStartRect(const Settings &settings, const RECT &workArea, SIZE size);

/// The top of the scroll thumb in DIPs, from 230 on.
float scrollThumbTop(int firstRow, std::size_t drives, int rows);

/// The corners' radius: none under high contrast, and at most half of the smaller side.
int cornerRadius(SIZE size, float scale, bool highContrast);
/// How much of a pixel lies inside the rounded shape, 0 to 255; 0 outside the window.
int shapeCoverage(POINT pixel, SIZE size, int radius);

/// Gives every pixel (0xAARRGGBB, rows from the top) the alpha that shape and opacity (20 to 100 percent) ask for, and
/// premultiplies it. GDI's text has left the alpha at 0.
void shapePixels(std::span<std::uint32_t> pixels, SIZE size, int radius, int opacity);

/// What WM_NCHITTEST answers for a point of the client area: transparent outside the shape, the caption at the top.
LRESULT hitTestWidget(POINT point, SIZE size, int radius, float scale);

/// The main figure with the note under it.
struct WidgetFigure {
    WString figure;
    WString note;
};
WidgetFigure widgetFigure(const OperationState &state, std::uint64_t selectedBytes);

} // namespace dm
