// The classes of controls, one file each.
#pragma once

#include "platform/linux/window/panes.h"

namespace dm::platform {

/// What a class adds to the messages of its windows; what it has no answer for goes to DefWindowProcW.
LRESULT CALLBACK buttonProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
bool makeButton(HWND window, const CREATESTRUCTW &creation);
LRESULT CALLBACK editProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
bool makeEdit(HWND window, const CREATESTRUCTW &creation);
LRESULT CALLBACK comboBoxProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
bool makeComboBox(HWND window, const CREATESTRUCTW &creation);
LRESULT CALLBACK trackBarProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
bool makeTrackBar(HWND window, const CREATESTRUCTW &creation);
LRESULT CALLBACK listViewProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
bool makeListView(HWND window, const CREATESTRUCTW &creation);
LRESULT CALLBACK headerProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
bool makeHeader(HWND window, const CREATESTRUCTW &creation);

void registerControlClasses();

/// The widget of a window of a class.
template <typename Widget>
Widget &widgetOf(HWND window) {
    return *static_cast<Widget *>(paneOf(window)->widget);
}

/// WM_COMMAND to the parent.
LRESULT sendCommand(HWND control, WORD code);
/// WM_NOTIFY to the parent; fills in the head.
LRESULT sendNotify(HWND control, NMHDR &head, UINT code);
/// Asks the parent for the colours of a control (WM_CTLCOLOR*) and gives them to a widget.
void applyColors(HWND control, UINT message, QWidget &widget);
/// ODS_FOCUS, ODS_NOFOCUSRECT and ODS_DISABLED as they are for a control.
UINT itemStateOf(HWND control);

} // namespace dm::platform
