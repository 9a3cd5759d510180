#include "platform/linux/window/panes.h"

#include <QAccessible>

using namespace dm::platform;

// A control that its window draws has its whole state in its text, so that is what there is to read anew: a change of
// a state that Qt does not know would be read out wrong.
void WINAPI NotifyWinEvent(DWORD event, HWND window, LONG object, LONG child) {
    const Pane *pane = paneOf(window);
    if (pane == nullptr || event != EVENT_OBJECT_STATECHANGE || object != OBJID_CLIENT || child != CHILDID_SELF)
        return;
    QAccessibleEvent changed(pane->widget, QAccessible::NameChanged);
    QAccessible::updateAccessibility(&changed);
}
