// Windows for tests, on a screen that nobody sees.
#pragma once

#include "platform/linux/window/application.h"
#include "platform/linux/window/panes.h"
#include "platform/win32.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QTest>
#include <QTimer>
#include <QWindow>

#include <cstdlib>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace dm::test {

/// What a window does with a message; none leaves it to DefWindowProcW.
using Handler = std::function<std::optional<LRESULT>(HWND window, UINT message, WPARAM wParam, LPARAM lParam)>;

inline LRESULT CALLBACK callHandler(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_NCCREATE) {
        const auto *creation = reinterpret_cast<const CREATESTRUCTW *>(lParam);
        SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(creation->lpCreateParams));
    }
    // The handler may replace itself, so it is called on a copy.
    const auto *handler = reinterpret_cast<const Handler *>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (handler != nullptr && *handler) {
        const Handler called = *handler;
        if (const std::optional<LRESULT> result = called(window, message, wParam, lParam))
            return *result;
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

inline LPCWSTR testClass() {
    static const bool registered = [] {
        WNDCLASSEXW windowClass = {};
        windowClass.cbSize = sizeof windowClass;
        windowClass.lpfnWndProc = callHandler;
        windowClass.lpszClassName = W("TestWindow");
        return RegisterClassExW(&windowClass) != 0;
    }();
    EXPECT_TRUE(registered);
    return W("TestWindow");
}

/// A window of the program's own that hands its messages to `handler`.
struct TopWindow {
    explicit TopWindow(Handler handles = nullptr, HWND owner = nullptr, DWORD extendedStyle = 0,
                       DWORD style = WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN)
        : handler(std::move(handles)), window(CreateWindowExW(extendedStyle, testClass(), W("Test"), style, 40, 50, 300,
                                                              200, owner, nullptr, nullptr, &handler)) {}
    TopWindow(const TopWindow &) = delete;
    TopWindow &operator=(const TopWindow &) = delete;
    ~TopWindow() {
        handler = nullptr;
        DestroyWindow(window);
    }
    operator HWND() const { return window; }

    Handler handler;
    HWND window;
};

inline HWND newControl(HWND parent, LPCWSTR className, DWORD style, int id, RECT place = {10, 10, 110, 40}) {
    return CreateWindowExW(0, className, W(""), WS_CHILD | WS_VISIBLE | WS_TABSTOP | style, place.left, place.top,
                           place.right - place.left, place.bottom - place.top, parent,
                           reinterpret_cast<HMENU>(static_cast<LONG_PTR>(id)), nullptr, nullptr);
}

inline HWND newButton(HWND parent, int id, int top = 10) {
    return newControl(parent, W("BUTTON"), BS_OWNERDRAW, id, {10, top, 110, top + 30});
}

/// A loop as programs have it, until nothing more is to be done. `window` gets its keys by IsDialogMessageW.
inline void runLoop(HWND window = nullptr, const std::function<bool(const MSG &)> &takes = nullptr) {
    MSG message;
    do {
        QCoreApplication::processEvents();
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE) {
            if (takes && takes(message))
                continue;
            if (window != nullptr && IsDialogMessageW(window, &message) != FALSE)
                continue;
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
        QCoreApplication::processEvents();
    } while (PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE) != FALSE);
}

inline QWidget *widgetOf(HWND window) {
    return platform::paneOf(window)->widget;
}

/// The window of the screen that a control lies in.
inline QWindow *screenWindowOf(HWND window) {
    return widgetOf(window)->window()->windowHandle();
}

inline QPoint middleOf(HWND window) {
    QWidget *client = platform::paneOf(window)->client;
    return client->mapTo(client->window(), client->rect().center());
}

inline void press(HWND window, QPoint point) {
    QTest::mousePress(screenWindowOf(window), Qt::LeftButton, {}, point);
}
inline void release(HWND window, QPoint point) {
    QTest::mouseRelease(screenWindowOf(window), Qt::LeftButton, {}, point);
}
inline void click(HWND window, QPoint point, Qt::KeyboardModifiers modifiers = {}) {
    QTest::mouseClick(screenWindowOf(window), Qt::LeftButton, modifiers, point);
}
inline void click(HWND window) {
    click(window, middleOf(window));
}
/// Types into what has the focus, as far as the queue; runLoop brings it to the control.
inline void type(HWND window, Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
    QTest::keyClick(screenWindowOf(window), key, modifiers);
}

class WindowTest : public testing::Test {
protected:
    WindowTest() { setenv("QT_QPA_PLATFORM", "offscreen", 1); }

    void show(HWND window) {
        ShowWindow(window, SW_SHOW);
        ASSERT_TRUE(QTest::qWaitForWindowActive(screenWindowOf(window)));
    }

private:
    platform::WindowSystem system_;
};

inline WString textIn(HWND window) {
    WString text(static_cast<std::size_t>(GetWindowTextLengthW(window)), 0);
    GetWindowTextW(window, text.data(), static_cast<int>(text.size()) + 1);
    return text;
}

/// Acts as soon as such a dialog or menu is open, in its loop.
template <typename Dialog>
void whenOpen(const std::function<void(Dialog &)> &act) {
    auto *timer = new QTimer(qApp);
    QObject::connect(timer, &QTimer::timeout, timer, [timer, act] {
        QWidget *open = QApplication::activePopupWidget() != nullptr ? QApplication::activePopupWidget()
                                                                     : QApplication::activeModalWidget();
        if (auto *dialog = qobject_cast<Dialog *>(open)) {
            timer->deleteLater();
            timer->stop();
            act(*dialog);
        }
    });
    timer->start(1);
}

} // namespace dm::test
