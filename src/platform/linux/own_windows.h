// The program's own windows, as far as messages go. What they look like and where they stand is the business of a
// window library, if there is one.
#pragma once

#include "platform/text.h"
#include "platform/win32.h"

#include <memory>
#include <vector>

namespace dm::platform {

struct Subclass {
    SUBCLASSPROC procedure;
    UINT_PTR id;
    DWORD_PTR reference;
};

/// What a window handle stands for. Handles are numbers that never come back, so that one that outlives its window
/// means no window at all.
struct Window {
    WNDPROC procedure = nullptr;
    HICON icon = nullptr; ///< of its class
    DWORD style = 0;
    DWORD extendedStyle = 0;
    HWND parent = nullptr; ///< of a child
    HWND owner = nullptr;  ///< of any other
    UINT_PTR id = 0;
    LONG_PTR userData = 0;
    std::vector<HWND> children; ///< in the order in which they were made, which is the tab order
    std::vector<HWND> owned;
    std::vector<Subclass> subclasses; ///< the last one is asked first
    bool ending = false;              ///< inside DestroyWindow
};

/// Null, with the last error set, for a window that is no longer there.
Window *windowOf(HWND window);
/// True for a window of this program that stands. Any thread may ask.
bool isOwnWindow(HWND window);
/// Visible itself, as all its parents are.
bool isShown(HWND window);
/// All windows that are nobody's children, the oldest first.
std::vector<HWND> topLevelWindows();

/// What a posted message came from, for those that a window library posts.
using Origin = std::shared_ptr<void>;

/// What a window library adds. All but `wake` are called on the thread of the windows.
struct WindowLibrary {
    /// Gives a window of one of the program's classes its place on the screen, before its first message.
    bool (*make)(HWND window, const CREATESTRUCTW &creation);
    /// After WM_CREATE: tells the window its size, and shows it if it is to be visible.
    void (*made)(HWND window, bool visible);
    void (*hide)(HWND window);
    /// The window's last message has been sent.
    void (*remove)(HWND window);
    /// What DefWindowProcW does with a message beyond the windows' making and closing.
    LRESULT (*defaultProcedure)(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    /// A message that the library posted itself has been fetched, and is to be sent now.
    LRESULT (*dispatch)(const MSG &message, const Origin &origin);
    /// Waits until something has happened, and sends what it means.
    void (*wait)();
    /// Ends a wait, now or, where there is none, the next. Any thread may call it.
    void (*wake)();
};

/// Null takes it away again. While there is one, no other thread than that of the windows may start or end.
void setWindowLibrary(const WindowLibrary *library);
const WindowLibrary *windowLibrary();

using MakeWidget = bool (*)(HWND window, const CREATESTRUCTW &creation);
/// A class of the system, whose windows are made in a way of their own.
void registerControlClass(LPCWSTR name, WNDPROC procedure, MakeWidget make);

} // namespace dm::platform
