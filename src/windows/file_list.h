// The virtual lists of the secondary windows, with headers of the program's own drawing.
#pragma once

#include "platform/text.h"
#include "platform/win32.h"
#include "ui/canvas.h"

#include <span>

namespace dm {

/// A virtual list in report view that asks its parent for texts, themed.
HWND createList(HWND parent, int id);
/// The width in DIPs.
void addListColumn(HWND list, int column, float width, float scale);
/// Brings the widths to another scale.
void scaleListColumns(HWND list, int columns, float factor);
void setColumnTitle(HWND list, int column, const WString &title);
/// Tells the list how many rows there are, without a repaint.
void setListCount(HWND list, std::size_t rows);
void setRowSelected(HWND list, std::size_t row);
/// No row is selected or has the focus.
void clearListSelection(HWND list);
/// Font, colours and reading direction of the list and its header, as the theme and the language have them now.
void applyListLook(HWND list, HFONT font);

/// Whether a notification is the custom drawing of the list's header.
bool isHeaderDraw(HWND list, const NMHDR &header);
/// Draws the header; one buffer for each column. Gives the answer to the notification.
LRESULT drawListHeader(const NMCUSTOMDRAW &draw, std::span<ui::BackBuffer> buffers, float scale);

} // namespace dm
