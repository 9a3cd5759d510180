#include "platform/linux/window/keys.h"

#include "platform/linux/window/events.h"

namespace dm::platform {

WPARAM virtualKeyOf(const QKeyEvent &event) {
    const int key = event.key();
    if ((key >= Qt::Key_A && key <= Qt::Key_Z) || (key >= Qt::Key_0 && key <= Qt::Key_9))
        return static_cast<WPARAM>(key); // the same numbers
    if (key >= Qt::Key_F1 && key <= Qt::Key_F24)
        return static_cast<WPARAM>(VK_F1 + key - Qt::Key_F1);
    switch (key) {
    case Qt::Key_Backspace:
        return VK_BACK;
    case Qt::Key_Tab:
    case Qt::Key_Backtab:
        return VK_TAB;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        return VK_RETURN;
    case Qt::Key_Shift:
        return VK_SHIFT;
    case Qt::Key_Control:
        return VK_CONTROL;
    case Qt::Key_Alt:
        return VK_MENU;
    case Qt::Key_CapsLock:
        return VK_CAPITAL;
    case Qt::Key_Escape:
        return VK_ESCAPE;
    case Qt::Key_Space:
        return VK_SPACE;
    case Qt::Key_PageUp:
        return VK_PRIOR;
    case Qt::Key_PageDown:
        return VK_NEXT;
    case Qt::Key_End:
        return VK_END;
    case Qt::Key_Home:
        return VK_HOME;
    case Qt::Key_Left:
        return VK_LEFT;
    case Qt::Key_Up:
        return VK_UP;
    case Qt::Key_Right:
        return VK_RIGHT;
    case Qt::Key_Down:
        return VK_DOWN;
    case Qt::Key_Insert:
        return VK_INSERT;
    case Qt::Key_Delete:
        return VK_DELETE;
    case Qt::Key_Menu:
        return VK_APPS;
    default:
        return VK_PACKET;
    }
}

bool handleKey(HWND window, QObject *object, QKeyEvent &event) {
    const bool down = event.type() == QEvent::KeyPress;
    event.accept();
    if (!down && event.isAutoRepeat())
        return true; // a key that is held down comes up once
    const bool alt = event.modifiers().testFlag(Qt::AltModifier);
    const UINT message = alt ? down ? WM_SYSKEYDOWN : WM_SYSKEYUP : down ? WM_KEYDOWN : WM_KEYUP;
    // Of the published bits: the count, Alt, whether it was down before, and whether it comes up.
    const DWORD bits =
        1 | (alt ? 1U << 29 : 0) | (!down || event.isAutoRepeat() ? 1U << 30 : 0) | (down ? 0 : 1U << 31);
    queueEvent(window, message, virtualKeyOf(event), static_cast<LPARAM>(bits), object, event);
    return true;
}

} // namespace dm::platform
