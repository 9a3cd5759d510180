#include "platform/linux/messages.h"

#include "platform/linux/errors.h"
#include "platform/text.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <set>
#include <utility>

namespace dm::platform {
namespace {

/// What a window handle of this program points to.
struct Window {
    WNDPROC procedure;
    LONG_PTR userData = 0;
    bool ending = false; ///< inside DestroyWindow
};

/// What other threads may touch, and only under the mutex.
struct Queue {
    std::mutex mutex;
    std::condition_variable posted;
    std::set<HWND> windows;
    std::deque<MSG> messages;
    std::optional<int> quitCode;
};

Queue &queue() {
    static Queue queue;
    return queue;
}

std::map<WString, WNDPROC> &windowClasses() {
    static std::map<WString, WNDPROC> classes;
    return classes;
}

Window *windowOf(HWND window) {
    if (!isOwnWindow(window)) {
        SetLastError(ERROR_INVALID_WINDOW_HANDLE);
        return nullptr;
    }
    return reinterpret_cast<Window *>(window);
}

/// Ends the life of a window: from here on its handle is invalid.
void forget(HWND window) {
    const std::lock_guard lock(queue().mutex);
    queue().windows.erase(window);
    std::erase_if(queue().messages, [window](const MSG &message) { return message.hwnd == window; });
}

/// The next message that fits, with the queue locked; WM_QUIT when there is no message at all.
std::optional<MSG> next(Queue &all, HWND window, UINT first, UINT last, bool remove) {
    const bool any = first == 0 && last == 0;
    const auto found = std::find_if(all.messages.begin(), all.messages.end(), [&](const MSG &message) {
        return (window == nullptr || message.hwnd == window) &&
               (any || (message.message >= first && message.message <= last));
    });
    if (found != all.messages.end()) {
        const MSG message = *found;
        if (remove)
            all.messages.erase(found);
        return message;
    }
    if (!all.messages.empty() || !all.quitCode)
        return std::nullopt;
    MSG quit = {};
    quit.message = WM_QUIT;
    quit.wParam = static_cast<WPARAM>(*all.quitCode);
    if (remove)
        all.quitCode.reset();
    return quit;
}

} // namespace

bool isOwnWindow(HWND window) {
    const std::lock_guard lock(queue().mutex);
    return queue().windows.contains(window);
}

bool post(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    Queue &all = queue();
    {
        const std::lock_guard lock(all.mutex);
        if (!all.windows.contains(window))
            return fail(ERROR_INVALID_WINDOW_HANDLE) != FALSE;
        try {
            all.messages.push_back({window, message, wParam, lParam, static_cast<DWORD>(GetTickCount64()), {}});
        } catch (const std::bad_alloc &) {
            return fail(ERROR_NOT_ENOUGH_MEMORY) != FALSE;
        }
    }
    all.posted.notify_one();
    return true;
}

} // namespace dm::platform

using namespace dm::platform;

ATOM WINAPI RegisterClassExW(const WNDCLASSEXW *windowClass) {
    auto &classes = windowClasses();
    if (!classes.emplace(windowClass->lpszClassName, windowClass->lpfnWndProc).second) {
        SetLastError(ERROR_CLASS_ALREADY_EXISTS);
        return 0;
    }
    return static_cast<ATOM>(classes.size());
}

HWND WINAPI CreateWindowExW(DWORD extendedStyle, LPCWSTR className, LPCWSTR title, DWORD style, int x, int y, int width,
                            int height, HWND parent, HMENU menu, HINSTANCE instance, LPVOID parameter) {
    const auto windowClass = windowClasses().find(className);
    if (windowClass == windowClasses().end()) {
        SetLastError(ERROR_CANNOT_FIND_WND_CLASS);
        return nullptr;
    }
    const auto window = reinterpret_cast<HWND>(new Window{windowClass->second});
    {
        const std::lock_guard lock(queue().mutex);
        queue().windows.insert(window);
    }
    CREATESTRUCTW creation = {parameter, instance,  menu,         parent, height, width, y, x, static_cast<LONG>(style),
                              title,     className, extendedStyle};
    const auto sent = reinterpret_cast<LPARAM>(&creation);
    if (SendMessageW(window, WM_NCCREATE, 0, sent) == FALSE || SendMessageW(window, WM_CREATE, 0, sent) == -1) {
        DestroyWindow(window);
        return nullptr;
    }
    return window;
}

BOOL WINAPI DestroyWindow(HWND window) {
    Window *object = windowOf(window);
    if (object == nullptr || std::exchange(object->ending, true))
        return FALSE;
    SendMessageW(window, WM_DESTROY, 0, 0);
    SendMessageW(window, WM_NCDESTROY, 0, 0);
    forget(window);
    delete object;
    return TRUE;
}

BOOL WINAPI IsWindow(HWND window) {
    return isOwnWindow(window) ? TRUE : FALSE;
}

LRESULT WINAPI DefWindowProcW(HWND window, UINT message, WPARAM, LPARAM) {
    switch (message) {
    case WM_NCCREATE:
        return TRUE;
    case WM_CLOSE:
        DestroyWindow(window);
        return 0;
    default:
        return 0;
    }
}

LONG_PTR WINAPI GetWindowLongPtrW(HWND window, int index) {
    const Window *object = windowOf(window);
    return object != nullptr && index == GWLP_USERDATA ? object->userData : 0;
}

LONG_PTR WINAPI SetWindowLongPtrW(HWND window, int index, LONG_PTR value) {
    Window *object = windowOf(window);
    return object != nullptr && index == GWLP_USERDATA ? std::exchange(object->userData, value) : 0;
}

LRESULT WINAPI SendMessageW(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    const Window *object = windowOf(window);
    return object == nullptr ? 0 : object->procedure(window, message, wParam, lParam);
}

BOOL WINAPI GetMessageW(MSG *message, HWND window, UINT first, UINT last) {
    Queue &all = queue();
    std::unique_lock lock(all.mutex);
    for (;;) {
        if (const std::optional<MSG> found = next(all, window, first, last, true)) {
            *message = *found;
            return found->message != WM_QUIT;
        }
        all.posted.wait(lock);
    }
}

BOOL WINAPI PeekMessageW(MSG *message, HWND window, UINT first, UINT last, UINT remove) {
    Queue &all = queue();
    const std::lock_guard lock(all.mutex);
    const std::optional<MSG> found = next(all, window, first, last, (remove & PM_REMOVE) != 0);
    if (!found)
        return FALSE;
    *message = *found;
    return TRUE;
}

LRESULT WINAPI DispatchMessageW(const MSG *message) {
    return SendMessageW(message->hwnd, message->message, message->wParam, message->lParam);
}

void WINAPI PostQuitMessage(int exitCode) {
    const std::lock_guard lock(queue().mutex);
    queue().quitCode = exitCode;
}
