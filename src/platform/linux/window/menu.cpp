#include "platform/linux/errors.h"
#include "platform/linux/window/application.h"
#include "platform/linux/window/panes.h"

#include <QEventLoop>
#include <QMenu>
#include <QTimer>
#include <QWindow>

#include <set>

namespace dm::platform {
namespace {

std::set<QMenu *> &menus() {
    static std::set<QMenu *> all;
    return all;
}

QMenu *menuOf(HMENU handle) {
    auto *menu = reinterpret_cast<QMenu *>(handle);
    if (menus().contains(menu))
        return menu;
    constexpr DWORD invalidMenuHandle = 1401; // ERROR_INVALID_MENU_HANDLE
    SetLastError(invalidMenuHandle);
    return nullptr;
}

/// Where the window with the keys has just been hidden, X tells of their loss a tenth of a second later, and that
/// closes what has opened since.
void awaitLossOfKeys() {
    const QWindow *window = QGuiApplication::focusWindow();
    if (window == nullptr || window->isVisible())
        return;
    QEventLoop loop;
    QObject::connect(qApp, &QGuiApplication::focusWindowChanged, &loop, &QEventLoop::quit);
    QTimer::singleShot(500, &loop, &QEventLoop::quit); // not every display tells
    loop.exec();
}

} // namespace
} // namespace dm::platform

using namespace dm::platform;

HMENU WINAPI CreatePopupMenu() {
    application();
    return reinterpret_cast<HMENU>(*menus().insert(new QMenu).first);
}

BOOL WINAPI AppendMenuW(HMENU handle, UINT flags, UINT_PTR id, LPCWSTR text) {
    QMenu *menu = menuOf(handle);
    if (menu == nullptr)
        return FALSE;
    if ((flags & MF_SEPARATOR) != 0)
        menu->addSeparator();
    else
        menu->addAction(textOf(text))->setData(QVariant::fromValue<qulonglong>(id));
    return TRUE;
}

BOOL WINAPI SetMenuDefaultItem(HMENU handle, UINT id, UINT byPosition) {
    QMenu *menu = menuOf(handle);
    if (menu == nullptr || byPosition != FALSE)
        return FALSE;
    for (QAction *action : menu->actions()) {
        if (!action->isSeparator() && action->data().toULongLong() == id) {
            menu->setDefaultAction(action);
            return TRUE;
        }
    }
    return FALSE;
}

BOOL WINAPI TrackPopupMenuEx(HMENU handle, UINT flags, int x, int y, HWND, TPMPARAMS *) {
    awaitLossOfKeys();
    const QPointer<QMenu> menu = menuOf(handle);
    if (menu == nullptr || (flags & TPM_RETURNCMD) == 0)
        return fail(ERROR_INVALID_PARAMETER);
    menu->setLayoutDirection((flags & TPM_LAYOUTRTL) != 0 ? Qt::RightToLeft : Qt::LeftToRight);
    const QAction *chosen = menu->exec(QPoint(x, y));
    return menu == nullptr || chosen == nullptr ? 0 : static_cast<BOOL>(chosen->data().toULongLong());
}

BOOL WINAPI DestroyMenu(HMENU handle) {
    QMenu *menu = menuOf(handle);
    if (menu == nullptr)
        return FALSE;
    menus().erase(menu);
    delete menu;
    return TRUE;
}
