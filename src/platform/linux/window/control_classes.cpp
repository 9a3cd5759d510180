#include "platform/linux/window/control_classes.h"

#include "platform/linux/window/place.h"

#include <QPalette>

namespace dm::platform {

void registerControlClasses() {
    registerControlClass(W("BUTTON"), buttonProcedure, makeButton);
    registerControlClass(W("EDIT"), editProcedure, makeEdit);
    registerControlClass(W("COMBOBOX"), comboBoxProcedure, makeComboBox);
    registerControlClass(W("msctls_trackbar32"), trackBarProcedure, makeTrackBar);
    registerControlClass(W("SysListView32"), listViewProcedure, makeListView);
    registerControlClass(W("SysHeader32"), headerProcedure, makeHeader);
}

LRESULT sendCommand(HWND control, WORD code) {
    return notify(GetParent(control), WM_COMMAND, MAKEWPARAM(GetDlgCtrlID(control), code),
                  reinterpret_cast<LPARAM>(control));
}

LRESULT sendNotify(HWND control, NMHDR &head, UINT code) {
    head = {control, static_cast<UINT_PTR>(GetDlgCtrlID(control)), code};
    return notify(GetParent(control), WM_NOTIFY, head.idFrom, reinterpret_cast<LPARAM>(&head));
}

void applyColors(HWND control, UINT message, QWidget &widget) {
    QImage scratch(1, 1, QImage::Format_RGB32);
    const PaintDc dc(scratch, QRegion(0, 0, 1, 1));
    const auto brush = reinterpret_cast<HBRUSH>(
        notify(GetParent(control), message, reinterpret_cast<WPARAM>(dc.get()), reinterpret_cast<LPARAM>(control)));
    if (brush == nullptr)
        return;
    QPalette palette = widget.palette();
    const QColor text = textColorOf(dc.get());
    const QColor back = colorOf(brush);
    // Setting a palette asks for another paint, even if it is the same one.
    if (palette.color(QPalette::Base) == back && palette.color(QPalette::Text) == text)
        return;
    for (const QPalette::ColorRole role : {QPalette::Base, QPalette::Button, QPalette::Window})
        palette.setColor(role, back);
    for (const QPalette::ColorRole role : {QPalette::Text, QPalette::ButtonText, QPalette::WindowText})
        palette.setColor(role, text);
    widget.setPalette(palette);
}

UINT itemStateOf(HWND control) {
    const Pane *top = paneOf(topLevelOf(control));
    UINT state = 0;
    if (GetFocus() == control)
        state |= ODS_FOCUS;
    if (top == nullptr || !top->focusShown)
        state |= ODS_NOFOCUSRECT;
    if (!paneOf(control)->widget->isEnabled())
        state |= ODS_DISABLED;
    return state;
}

} // namespace dm::platform

using namespace dm::platform;

BOOL WINAPI InitCommonControlsEx(const INITCOMMONCONTROLSEX *) {
    return TRUE;
}
