#include "platform/linux/window/accessibility.h"

#include "platform/linux/window/panes.h"

#include <QAccessible>
#include <QAccessibleWidget>

using namespace dm::platform;

namespace {

/// Qt takes a plain widget for part of a window, also where it is one: readers would find the program without any.
QAccessibleInterface *describeWindow(const QString &, QObject *object) {
    auto *widget = qobject_cast<QWidget *>(object);
    const bool isPlain = widget != nullptr && widget->metaObject() == &QWidget::staticMetaObject;
    return isPlain && widget->isWindow() ? new QAccessibleWidget(widget, QAccessible::Window) : nullptr;
}

} // namespace

void dm::platform::describeWindows() {
    QAccessible::installFactory(describeWindow);
}

// A control that its window draws has its whole state in its text, so that is what there is to read anew: a change of
// a state that Qt does not know would be read out wrong.
void WINAPI NotifyWinEvent(DWORD event, HWND window, LONG object, LONG child) {
    const Pane *pane = paneOf(window);
    if (pane == nullptr || event != EVENT_OBJECT_STATECHANGE || object != OBJID_CLIENT || child != CHILDID_SELF)
        return;
    QAccessibleEvent changed(pane->widget, QAccessible::NameChanged);
    QAccessible::updateAccessibility(&changed);
}
