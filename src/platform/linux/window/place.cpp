#include "platform/linux/window/place.h"

#include "platform/linux/window/application.h"
#include "platform/linux/window/desktop.h"
#include "platform/linux/window/events.h"
#include "platform/linux/window/icons.h"
#include "platform/linux/window/owner_hint.h"

#include <QAccessible>
#include <QScreen>
#include <QWindow>

#include <algorithm>
#include <utility>

namespace dm::platform {
namespace {

QMargins frameOf(const Pane &pane) {
    const QWindow *handle = pane.widget->isWindow() ? pane.widget->windowHandle() : nullptr;
    return handle == nullptr ? QMargins() : handle->frameMargins();
}

bool isTopLevel(const Pane &pane) {
    return pane.widget->isWindow();
}

UINT stateOf(const Pane &pane) {
    if (!isTopLevel(pane))
        return SIZE_RESTORED;
    return pane.widget->isMinimized() ? SIZE_MINIMIZED : pane.widget->isMaximized() ? SIZE_MAXIMIZED : SIZE_RESTORED;
}

/// Takes the size inside the frame, as far as that is known.
void takeSize(Pane &pane, QSize outer) {
    pane.askedSize = outer;
    pane.assumedFrame = frameOf(pane);
    pane.widget->resize(outer.shrunkBy(pane.assumedFrame));
}

void takePlace(Pane &pane, QPoint topLeft) {
    if (!pane.widget->windowHandle()->isExposed())
        pane.askedPlace = topLeft;
    pane.widget->move(topLeft);
}

/// The program says how small a window with a frame to size it by may become.
void applyMinimum(Pane &pane) {
    if (!isTopLevel(pane) || (windowOf(pane.window)->style & WS_THICKFRAME) == 0)
        return;
    MINMAXINFO info = {};
    SendMessageW(pane.window, WM_GETMINMAXINFO, 0, reinterpret_cast<LPARAM>(&info));
    const QMargins frame = frameOf(pane);
    const QSize smallest(info.ptMinTrackSize.x, info.ptMinTrackSize.y);
    pane.widget->setMinimumSize(smallest.shrunkBy(frame).expandedTo(QSize(0, 0)));
}

void place(Pane &pane, const RECT &rect, UINT flags) {
    const QRect wanted = rectOf(rect);
    if (isTopLevel(pane)) {
        if ((flags & SWP_NOMOVE) == 0)
            takePlace(pane, wanted.topLeft());
        if ((flags & SWP_NOSIZE) == 0) {
            applyMinimum(pane);
            takeSize(pane, wanted.size());
        }
    } else {
        const QPoint position = (flags & SWP_NOMOVE) == 0 ? wanted.topLeft() : pane.widget->pos();
        QSize size = pane.widget->size();
        if ((flags & SWP_NOSIZE) == 0)
            size = pane.fit ? pane.fit(wanted.size()) : wanted.size();
        pane.widget->setGeometry(QRect(position, size));
    }
    tellSize(pane);
}

/// A hidden window is inactive for Qt at once, but has the focus until the server has told otherwise. Shown again
/// before that it would get the keys and pass none of them on, since its focus is no news.
void mendActivity(QWidget &widget) {
    if (QGuiApplication::focusWindow() == widget.windowHandle() && QApplication::activeWindow() != &widget)
        QApplication::setActiveWindow(&widget);
}

void setShown(HWND window, bool shown) {
    Window &own = *windowOf(window);
    if (((own.style & WS_VISIBLE) != 0) == shown)
        return;
    SendMessageW(window, WM_SHOWWINDOW, shown ? TRUE : FALSE, 0);
    Pane *pane = paneOf(window);
    if (pane == nullptr)
        return;
    if (!shown) {
        hideWindow(window);
        return;
    }
    own.style |= WS_VISIBLE;
    applyMinimum(*pane);
    pane->erase = true;
    pane->invalid = pane->client->rect();
    pane->widget->show();
    if (isTopLevel(*pane))
        mendActivity(*pane->widget);
    if (const Pane *owner = own.owner == nullptr ? nullptr : paneOf(own.owner))
        setOwnerHint(*pane->widget, *owner->widget->window());
}

void activate(Pane &pane) {
    if (!isTopLevel(pane))
        return;
    pane.widget->raise();
    pane.widget->activateWindow();
}

/// A minimised window becomes what it was before, a maximised one gets the size that it had before.
void restore(const Pane &pane) {
    if (!isTopLevel(pane))
        return;
    const Qt::WindowStates state = pane.widget->windowState();
    const bool minimized = state.testFlag(Qt::WindowMinimized);
    pane.widget->setWindowState(state & ~(minimized ? Qt::WindowMinimized : Qt::WindowMaximized));
}

void applyExtendedStyle(const Pane &pane) {
    if (!pane.ownsWidget)
        return; // it is as the one that it is part of
    const DWORD style = windowOf(pane.window)->extendedStyle;
    const bool mirrored = (style & (WS_EX_LAYOUTRTL | WS_EX_RTLREADING)) != 0;
    pane.widget->setLayoutDirection(mirrored ? Qt::RightToLeft : Qt::LeftToRight);
}

Qt::WindowFlags flagsOf(const CREATESTRUCTW &creation) {
    const bool isPopup = (static_cast<DWORD>(creation.style) & WS_POPUP) != 0;
    Qt::WindowFlags flags = (creation.dwExStyle & WS_EX_TOOLWINDOW) != 0 ? Qt::Tool : Qt::Window;
    return isPopup ? flags | Qt::FramelessWindowHint : flags;
}

QRect firstPlace(const CREATESTRUCTW &creation) {
    const QRect work = QGuiApplication::primaryScreen()->availableGeometry();
    const QSize size(creation.cx == CW_USEDEFAULT ? work.width() / 2 : creation.cx,
                     creation.cy == CW_USEDEFAULT ? work.height() / 2 : creation.cy);
    if (creation.x != CW_USEDEFAULT)
        return {QPoint(creation.x, creation.y), size};
    const QPoint middle = work.center() - QRect(QPoint(0, 0), size).center();
    return {QPoint(std::max(middle.x(), work.left()), std::max(middle.y(), work.top())), size};
}

void setText(Pane &pane, LPCWSTR text) {
    pane.text = text == nullptr ? WString() : WString(text);
    if (isTopLevel(pane))
        pane.widget->setWindowTitle(textOf(pane.text));
    else
        pane.widget->setAccessibleName(textOf(pane.text));
}

LRESULT copyText(const WString &text, WPARAM units, WChar *to) {
    if (units == 0)
        return 0;
    const std::size_t copied = std::min<std::size_t>(text.size(), units - 1);
    text.copy(to, copied);
    to[copied] = 0;
    return static_cast<LRESULT>(copied);
}

std::optional<LRESULT> defaultText(Pane &pane, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case WM_SETTEXT:
        setText(pane, reinterpret_cast<LPCWSTR>(lParam));
        return TRUE;
    case WM_GETTEXT:
        return copyText(pane.text, wParam, reinterpret_cast<WChar *>(lParam));
    case WM_GETTEXTLENGTH:
        return static_cast<LRESULT>(pane.text.size());
    case WM_SETFONT:
        pane.widget->setFont(fontOf(reinterpret_cast<HFONT>(wParam)));
        return 0;
    case WM_SETICON:
        if (isTopLevel(pane) && wParam == ICON_BIG)
            pane.widget->setWindowIcon(iconOf(reinterpret_cast<HICON>(lParam)));
        return 0;
    default:
        return std::nullopt;
    }
}

bool isTab(UINT message, WPARAM key) {
    return (message == WM_KEYDOWN || message == WM_KEYUP) && key == VK_TAB;
}

} // namespace

bool makeWindow(HWND window, const CREATESTRUCTW &creation) {
    if (!hasScreen()) {
        SetLastError(ERROR_NOT_SUPPORTED);
        return false;
    }
    if ((static_cast<DWORD>(creation.style) & WS_CHILD) != 0) {
        SetLastError(ERROR_INVALID_PARAMETER); // children are controls
        return false;
    }
    auto *widget = new QWidget(nullptr, flagsOf(creation));
    const bool layered = (creation.dwExStyle & WS_EX_LAYERED) != 0;
    widget->setAttribute(Qt::WA_OpaquePaintEvent, !layered);
    widget->setAttribute(Qt::WA_NoSystemBackground);
    widget->setAttribute(Qt::WA_TranslucentBackground, layered);
    widget->setFocusPolicy(Qt::ClickFocus);
    Pane &pane = addPane(window, widget, creation);
    const Window &own = *windowOf(window);
    widget->setWindowTitle(textOf(pane.text));
    widget->setWindowIcon(iconOf(own.icon));
    addPart(window, widget, wholeWidget);
    widget->winId(); // makes the window in the window system
    takePlace(pane, firstPlace(creation).topLeft());
    takeSize(pane, firstPlace(creation).size());
    if (const Pane *owner = own.owner == nullptr ? nullptr : paneOf(own.owner))
        widget->windowHandle()->setTransientParent(owner->widget->window()->windowHandle());
    QObject::connect(widget->windowHandle(), &QWindow::screenChanged, widget, tellScale);
    widget->setFocus();
    return true;
}

void windowMade(HWND window, bool visible) {
    Pane *pane = paneOf(window);
    if (pane == nullptr)
        return;
    applyExtendedStyle(*pane);
    applyMinimum(*pane);
    tellScale();
    tellSize(*pane);
    if (visible)
        ShowWindow(window, SW_SHOW);
}

void hideWindow(HWND window) {
    windowOf(window)->style &= ~WS_VISIBLE;
    releaseCapture(window);
    if (const Pane *pane = paneOf(window)) {
        leaveFocus(window);
        pane->widget->hide();
    }
}

HWND topLevelOf(HWND window) {
    for (const Window *own = windowOf(window); own != nullptr && own->parent != nullptr; own = windowOf(window))
        window = own->parent;
    return window;
}

void tellSize(Pane &pane) {
    const UINT state = stateOf(pane);
    const QSize size = state == SIZE_MINIMIZED ? QSize(0, 0) : pane.widget->size();
    if (size == pane.toldSize && state == pane.toldState)
        return;
    pane.toldSize = size;
    pane.toldState = state;
    SendMessageW(pane.window, WM_SIZE, state, MAKELPARAM(size.width(), size.height()));
}

void leaveFocus(HWND window) {
    const HWND focused = GetFocus();
    const HWND top = topLevelOf(window);
    if (focused != nullptr && top != window && (focused == window || IsChild(window, focused) != FALSE))
        SetFocus(top);
}

void settleFrame(HWND window) {
    Pane *pane = paneOf(window);
    if (pane == nullptr || !pane->askedSize.isValid())
        return;
    if (frameOf(*pane) == pane->assumedFrame)
        return; // the frame is still to come, if there is to be one
    const QSize asked = std::exchange(pane->askedSize, QSize());
    if (stateOf(*pane) != SIZE_RESTORED || pane->widget->size() != asked.shrunkBy(pane->assumedFrame))
        return; // it has another size by now
    applyMinimum(*pane);
    pane->widget->resize(asked.shrunkBy(frameOf(*pane)));
}

bool handlePlace(HWND window, QObject *object, QEvent &event) {
    Pane &pane = *paneOf(window);
    switch (event.type()) {
    case QEvent::Close:
        event.ignore(); // the window decides
        notify(window, WM_CLOSE, 0, 0);
        return true;
    case QEvent::WindowActivate:
    case QEvent::WindowDeactivate: {
        if (!isTopLevel(pane))
            return false; // Qt tells the controls too
        const bool active = event.type() == QEvent::WindowActivate;
        const HWND owner = windowOf(window)->owner;
        if (Pane *owning = !active || owner == nullptr ? nullptr : paneOf(owner))
            owning->lastPopup = window;
        deliver(window, WM_ACTIVATE, active ? WA_ACTIVE : WA_INACTIVE, 0, object, &event);
        return true;
    }
    case QEvent::Move:
        settleFrame(window);
        return false;
    case QEvent::Resize: {
        const QSize size = pane.widget->size();
        const UINT state = stateOf(pane);
        if (state == SIZE_MINIMIZED || (size == pane.toldSize && state == pane.toldState))
            return false;
        pane.toldSize = size;
        pane.toldState = state;
        pane.erase = true;
        deliver(window, WM_SIZE, state, MAKELPARAM(size.width(), size.height()), object, &event);
        return true;
    }
    default: {
        const Busy scope;
        tellSize(pane);
        return false;
    }
    }
}

LRESULT defaultProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    Pane *pane = paneOf(window);
    if (pane == nullptr)
        return 0;
    if (const auto result = defaultText(*pane, message, wParam, lParam))
        return *result;
    if (const auto result = defaultMouse(window, message, wParam, lParam))
        return *result;
    // Qt has a tab order of its own, which is not the one that IsDialogMessageW goes by.
    if (!isTab(message, wParam))
        passOn(window, message);
    return 0;
}

} // namespace dm::platform

using namespace dm::platform;

BOOL WINAPI ShowWindow(HWND window, int command) {
    const BOOL wasShown = IsWindowVisible(window);
    Pane *pane = paneOf(window);
    if (pane == nullptr)
        return FALSE;
    pane->widget->setAttribute(Qt::WA_ShowWithoutActivating, command == SW_SHOWNOACTIVATE);
    switch (command) {
    case SW_HIDE:
        setShown(window, false);
        return wasShown;
    case SW_SHOWNORMAL:
    case SW_SHOWNOACTIVATE:
    case SW_RESTORE:
    case SW_SHOWDEFAULT:
        restore(*pane);
        break;
    default:
        break;
    }
    setShown(window, true);
    pane = paneOf(window);
    if (pane != nullptr && command != SW_SHOWNOACTIVATE)
        activate(*pane);
    return wasShown;
}

BOOL WINAPI IsIconic(HWND window) {
    const Pane *pane = paneOf(window);
    return pane != nullptr && stateOf(*pane) == SIZE_MINIMIZED ? TRUE : FALSE;
}

BOOL WINAPI EnableWindow(HWND window, BOOL enable) {
    Pane *pane = paneOf(window);
    if (pane == nullptr)
        return FALSE;
    const bool wasDisabled = (windowOf(window)->style & WS_DISABLED) != 0;
    if (wasDisabled != (enable != FALSE))
        return wasDisabled ? TRUE : FALSE;
    if (enable == FALSE) {
        SendMessageW(window, WM_CANCELMODE, 0, 0);
        leaveFocus(window);
    }
    windowOf(window)->style ^= WS_DISABLED;
    pane->widget->setEnabled(enable != FALSE);
    SendMessageW(window, WM_ENABLE, enable != FALSE ? TRUE : FALSE, 0);
    return wasDisabled ? TRUE : FALSE;
}

BOOL WINAPI IsWindowEnabled(HWND window) {
    const Window *own = windowOf(window);
    return own != nullptr && (own->style & WS_DISABLED) == 0 ? TRUE : FALSE;
}

BOOL WINAPI SetWindowPos(HWND window, HWND, int x, int y, int width, int height, UINT flags) {
    Pane *pane = paneOf(window);
    if (pane == nullptr)
        return FALSE;
    if ((flags & SWP_FRAMECHANGED) != 0)
        applyExtendedStyle(*pane);
    if ((flags & (SWP_NOMOVE | SWP_NOSIZE)) != (SWP_NOMOVE | SWP_NOSIZE))
        place(*pane, {x, y, x + width, y + height}, flags);
    if ((flags & SWP_SHOWWINDOW) != 0 && isOwnWindow(window))
        setShown(window, true);
    return TRUE;
}

namespace {

struct DeferredPlace {
    HWND window;
    HWND after;
    int x, y, width, height;
    UINT flags;
};
using Batch = std::vector<DeferredPlace>;

} // namespace

HDWP WINAPI BeginDeferWindowPos(int count) {
    if (count < 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    auto *batch = new Batch;
    batch->reserve(static_cast<std::size_t>(count));
    return batch;
}

HDWP WINAPI DeferWindowPos(HDWP batch, HWND window, HWND after, int x, int y, int width, int height, UINT flags) {
    auto *all = static_cast<Batch *>(batch);
    if (all == nullptr || paneOf(window) == nullptr) {
        delete all; // a batch that failed is not ended any more
        return nullptr;
    }
    all->push_back({window, after, x, y, width, height, flags});
    return batch;
}

BOOL WINAPI EndDeferWindowPos(HDWP batch) {
    const std::unique_ptr<Batch> all(static_cast<Batch *>(batch));
    if (all == nullptr)
        return FALSE;
    BOOL placed = TRUE;
    for (const DeferredPlace &each : *all) {
        if (!SetWindowPos(each.window, each.after, each.x, each.y, each.width, each.height, each.flags))
            placed = FALSE;
    }
    return placed;
}

BOOL WINAPI GetWindowRect(HWND window, RECT *rect) {
    const Pane *pane = paneOf(window);
    if (pane == nullptr)
        return FALSE;
    const QRect inner(pane->widget->mapToGlobal(QPoint(0, 0)), pane->widget->size());
    QRect outer = inner.marginsAdded(frameOf(*pane));
    if (pane->askedPlace)
        outer.moveTopLeft(*pane->askedPlace);
    *rect = rectOf(outer);
    return TRUE;
}

BOOL WINAPI GetClientRect(HWND window, RECT *rect) {
    const Pane *pane = paneOf(window);
    if (pane == nullptr)
        return FALSE;
    // Inside a scroll area: without the bars, with the header.
    const QWidget *client = pane->client;
    *rect = client == pane->widget ? RECT{0, 0, client->width(), client->height()}
                                   : RECT{0, 0, client->x() + client->width(), client->y() + client->height()};
    return TRUE;
}

int WINAPI MapWindowPoints(HWND from, HWND to, POINT *points, UINT count) {
    const auto originOf = [](HWND window) {
        const Pane *pane = window == nullptr ? nullptr : paneOf(window);
        return pane == nullptr ? QPoint(0, 0) : pane->widget->mapToGlobal(QPoint(0, 0));
    };
    const QPoint shift = originOf(from) - originOf(to);
    for (UINT i = 0; i < count; ++i) {
        points[i].x += shift.x();
        points[i].y += shift.y();
    }
    return MAKELONG(shift.x(), shift.y());
}

BOOL WINAPI SetWindowTextW(HWND window, LPCWSTR text) {
    return SendMessageW(window, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(text)) != 0 ? TRUE : FALSE;
}

int WINAPI GetWindowTextW(HWND window, LPWSTR text, int units) {
    if (units > 0)
        text[0] = 0;
    return static_cast<int>(
        SendMessageW(window, WM_GETTEXT, static_cast<WPARAM>(units), reinterpret_cast<LPARAM>(text)));
}

int WINAPI GetWindowTextLengthW(HWND window) {
    return static_cast<int>(SendMessageW(window, WM_GETTEXTLENGTH, 0, 0));
}
