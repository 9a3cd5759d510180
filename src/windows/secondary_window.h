// What the preview, the history and the large-files window have in common: the left column, the virtual list with its
// drawn header, fonts and colours.
#pragma once

#include "platform/text.h"
#include "platform/win32.h"
#include "ui/canvas.h"

#include <functional>
#include <span>

namespace dm {

/// Registers a window class of the program, once: its icon, the arrow, no background.
void registerWindowClass(const WChar *name, WNDPROC procedure);
/// The window's own dots per inch, divided by 96.
float windowScale(HWND window);
/// The program's icon, large and small.
void setWindowIcons(HWND window);
/// Makes the outer size of the window that of so many DIPs, within its work area.
void setOuterSize(HWND window, float width, float height, float scale);
/// Takes over the rectangle that WM_DPICHANGED suggests, within the work area.
void takeSuggestedRect(HWND window, LPARAM lParam);
/// Answers WM_GETMINMAXINFO with so many DIPs, or the work area where that is less.
void setLeastSize(HWND window, LPARAM lParam, float width, float height, float scale);

/// A font of 14 DIPs for lists and fields, in the current interface font. Null where the system cannot make it.
HFONT makeWindowFont(float scale);

/// Writes from right to left where the language is, and mirrors the window where `layout` is set.
void applyReadingDirection(HWND window, bool layout);

/// A virtual list that asks its parent for texts, themed.
HWND createList(HWND parent, int id);
/// Widths in pixels.
void addListColumn(HWND list, int column, int width);
/// Widths after a change of scale.
void scaleListColumns(HWND list, int columns, float factor);
void setColumnTitle(HWND list, int column, const WString &title);
/// Font, colours and direction of a list and its header.
void applyListLook(HWND list, HFONT font);
/// Clears the selection and the focus of all rows.
void clearListSelection(HWND list);
/// Draws the header of a list in answer to NM_CUSTOMDRAW; one buffer for each column.
LRESULT drawListHeader(const NMCUSTOMDRAW &draw, std::span<ui::BackBuffer> buffers, float scale);

/// Sets the colours of a child control that shows text; gives the brush for the message.
LRESULT answerControlColor(HDC dc, ui::Argb background, ui::Argb text, HBRUSH brush);

/// Paints the body; the size of the client area in DIPs.
using PaintBody = std::function<void(ui::Canvas &canvas, float width, float height)>;
/// Answers WM_PAINT: left column, body, and the copy to the screen.
void paintSecondaryWindow(HWND window, ui::BackBuffer &buffer, float scale, const PaintBody &paintBody);

/// The window's background and its left column with the program's name; height in pixels of the buffer.
void paintLeftColumn(ui::Canvas &canvas, const ui::BackBuffer &buffer, float scale);
/// The tile in the left column that names the window.
void paintSectionTile(ui::Canvas &canvas, int glyph, float glyphY, const WString &title);
/// The panel behind a list or a field.
void paintPanel(ui::Canvas &canvas, float x, float y, float width, float height);

} // namespace dm
