// What the preview, the history and the large-files window have in common: class, size, fonts and colours, and the left
// column.
#pragma once

#include "platform/text.h"
#include "platform/win32.h"
#include "ui/canvas.h"

#include <functional>

namespace dm {

/// Registers a window class of the program: its icon, the arrow, no background. Again is no error.
void registerWindowClass(const WChar *name, WNDPROC procedure);
/// The window's own dots per inch, divided by 96.
float windowScale(HWND window);
/// The work area of the monitor that holds the window.
RECT workAreaOf(HWND window);
/// The program's icon, large and small.
void setWindowIcons(HWND window);

/// Gives the window an outer size in DIPs, within its work area.
void setOuterSize(HWND window, float width, float height, float scale);
/// Takes over the rectangle that WM_DPICHANGED suggests, within the work area.
void takeSuggestedRect(HWND window, LPARAM lParam);
/// Answers WM_GETMINMAXINFO with a size in DIPs, or with what fits the work area where that is less.
void setLeastSize(HWND window, LPARAM lParam, float width, float height, float scale);

/// Answers WM_NCCREATE: keeps the record that the window was created with.
void keepCreateParameter(HWND window, LPARAM lParam);

/// Makes the font of lists, fields and buttons anew for the scale and the language, hands it out, and deletes the old
/// one. Where the system cannot make it the old one stays.
void renewFont(HFONT &font, float scale, const std::function<void(HFONT font)> &handOut);
/// Sets the extended styles on the control where the language is written from right to left, clears them otherwise.
void applyReadingDirection(HWND control, LONG_PTR styles);

/// Sets the colours of a child control that shows text; gives the brush for the answer.
LRESULT answerControlColor(HDC dc, ui::Argb background, ui::Argb text, HBRUSH brush);

/// Paints a window's body; the size of the client area in DIPs.
using PaintBody = std::function<void(ui::Canvas &canvas, float width, float height)>;
/// Answers WM_PAINT: the left column, the body, and the copy to the screen.
void paintSecondaryWindow(HWND window, ui::BackBuffer &buffer, float scale, const PaintBody &paintBody);
/// The window's ground, the left column with the program's name, and the body, in the whole buffer.
void paintIntoBuffer(const ui::BackBuffer &buffer, float scale, const PaintBody &paintBody);

/// The tile in the left column that names the window, with its glyph.
void paintSectionTile(ui::Canvas &canvas, int glyph, float glyphY, const WString &title);
/// Small text under the tile.
void paintSectionNote(ui::Canvas &canvas, const WString &text, float height, float size);
/// The window's heading, and the line under it.
void paintHeading(ui::Canvas &canvas, const WString &text, float width, float height);
void paintSubheading(ui::Canvas &canvas, const WString &text, float y, float width, float height);
/// The panel behind a list or a field.
void paintPanel(ui::Canvas &canvas, float x, float y, float width, float height);

} // namespace dm
