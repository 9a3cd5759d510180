#include "platform/linux/own_windows.h"

#include "platform/linux/errors.h"
#include "platform/linux/messages.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <mutex>
#include <unordered_map>
#include <utility>

namespace dm::platform {
namespace {

struct WindowClass {
    WNDPROC procedure;
    HICON icon;
    MakeWidget make; ///< null for the program's own classes
};

std::map<WString, WindowClass> &windowClasses() {
    static std::map<WString, WindowClass> classes;
    return classes;
}

WString foldedName(LPCWSTR name) {
    WString folded(name);
    std::transform(folded.begin(), folded.end(), folded.begin(), [](WChar unit) { return towlower(unit); });
    return folded;
}

/// Other threads may ask whether a window stands: hence the mutex.
struct Windows {
    std::mutex mutex;
    std::unordered_map<HWND, std::unique_ptr<Window>> all;
    std::vector<HWND> topLevel;
    // Beyond 32 bits, so that none of them is the number of another program's window.
    std::uintptr_t nextHandle = std::uintptr_t{1} << 32;
};

Windows &windows() {
    static Windows windows;
    return windows;
}

std::atomic<const WindowLibrary *> installedLibrary = nullptr;

/// A call of a window's procedures: how many of the subclasses are still to be asked.
struct Call {
    HWND window;
    std::size_t left;
    Call *outer;
};
Call *innermostCall = nullptr;

Call *callOf(HWND window) {
    Call *call = innermostCall;
    while (call != nullptr && call->window != window)
        call = call->outer;
    return call;
}

LRESULT callNext(Call &call, Window &window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (call.left == 0)
        return window.procedure(call.window, message, wParam, lParam);
    const Subclass next = window.subclasses[--call.left];
    return next.procedure(call.window, message, wParam, lParam, next.id, next.reference);
}

HWND addWindow(std::unique_ptr<Window> window) {
    Windows &own = windows();
    const std::lock_guard lock(own.mutex);
    const auto handle = reinterpret_cast<HWND>(own.nextHandle++);
    if (window->parent == nullptr)
        own.topLevel.push_back(handle);
    own.all.emplace(handle, std::move(window));
    return handle;
}

/// Links a new window to its parent or owner.
void join(HWND handle, const Window &window) {
    if (Window *parent = window.parent == nullptr ? nullptr : windowOf(window.parent))
        parent->children.push_back(handle);
    if (Window *owner = window.owner == nullptr ? nullptr : windowOf(window.owner))
        owner->owned.push_back(handle);
}

/// Ends the life of a window: from here on its handle is invalid.
void forget(HWND handle) {
    const Window &window = *windowOf(handle);
    if (Window *parent = window.parent == nullptr ? nullptr : windowOf(window.parent))
        std::erase(parent->children, handle);
    if (Window *owner = window.owner == nullptr ? nullptr : windowOf(window.owner))
        std::erase(owner->owned, handle);
    {
        Windows &own = windows();
        const std::lock_guard lock(own.mutex);
        std::erase(own.topLevel, handle);
        own.all.erase(handle);
    }
    dropPosted(handle);
}

/// Handlers may destroy windows, so each step works on a copy.
void sendDestroy(HWND handle) {
    windowOf(handle)->ending = true;
    SendMessageW(handle, WM_DESTROY, 0, 0);
    if (const Window *window = windowOf(handle)) {
        for (const HWND child : std::vector(window->children)) {
            if (isOwnWindow(child))
                sendDestroy(child);
        }
    }
}

void finish(HWND handle) {
    const Window *window = windowOf(handle);
    if (window == nullptr)
        return;
    for (const HWND child : std::vector(window->children))
        finish(child);
    SendMessageW(handle, WM_NCDESTROY, 0, 0);
    if (windowLibrary() != nullptr)
        windowLibrary()->remove(handle);
    forget(handle);
}

std::unique_ptr<Window> newWindow(const WindowClass &windowClass, DWORD style, DWORD extendedStyle, HWND parent,
                                  HMENU menu) {
    auto window = std::make_unique<Window>();
    window->procedure = windowClass.procedure;
    window->icon = windowClass.icon;
    window->style = style & ~WS_VISIBLE;
    window->extendedStyle = extendedStyle;
    if ((style & WS_CHILD) != 0)
        window->parent = parent;
    else
        window->owner = parent;
    window->id = reinterpret_cast<UINT_PTR>(menu);
    return window;
}

bool makeWidget(HWND window, const WindowClass &windowClass, const CREATESTRUCTW &creation) {
    const WindowLibrary *library = windowLibrary();
    if (library == nullptr)
        return true;
    return windowClass.make == nullptr ? library->make(window, creation) : windowClass.make(window, creation);
}

} // namespace

Window *windowOf(HWND window) {
    Windows &own = windows();
    const std::lock_guard lock(own.mutex);
    const auto found = own.all.find(window);
    if (found != own.all.end())
        return found->second.get();
    SetLastError(ERROR_INVALID_WINDOW_HANDLE);
    return nullptr;
}

bool isOwnWindow(HWND window) {
    Windows &own = windows();
    const std::lock_guard lock(own.mutex);
    return own.all.contains(window);
}

bool isShown(HWND handle) {
    for (const Window *window = windowOf(handle); window != nullptr && (window->style & WS_VISIBLE) != 0;
         window = windowOf(window->parent)) {
        if (window->parent == nullptr)
            return true;
    }
    return false;
}

std::vector<HWND> topLevelWindows() {
    return windows().topLevel;
}

void setWindowLibrary(const WindowLibrary *library) {
    installedLibrary = library;
}

const WindowLibrary *windowLibrary() {
    return installedLibrary;
}

void registerControlClass(LPCWSTR name, WNDPROC procedure, MakeWidget make) {
    windowClasses().insert_or_assign(foldedName(name), WindowClass{procedure, nullptr, make});
}

} // namespace dm::platform

using namespace dm::platform;

ATOM WINAPI RegisterClassExW(const WNDCLASSEXW *windowClass) {
    auto &classes = windowClasses();
    const WindowClass added = {windowClass->lpfnWndProc, windowClass->hIcon, nullptr};
    if (!classes.emplace(foldedName(windowClass->lpszClassName), added).second) {
        SetLastError(ERROR_CLASS_ALREADY_EXISTS);
        return 0;
    }
    return static_cast<ATOM>(classes.size());
}

HWND WINAPI CreateWindowExW(DWORD extendedStyle, LPCWSTR className, LPCWSTR title, DWORD style, int x, int y, int width,
                            int height, HWND parent, HMENU menu, HINSTANCE instance, LPVOID parameter) {
    const auto windowClass = windowClasses().find(foldedName(className));
    if (windowClass == windowClasses().end()) {
        SetLastError(ERROR_CANNOT_FIND_WND_CLASS);
        return nullptr;
    }
    const bool needsParent = (style & WS_CHILD) != 0;
    if ((needsParent || parent != nullptr) && windowOf(parent) == nullptr)
        return nullptr;

    const HWND window = addWindow(newWindow(windowClass->second, style, extendedStyle, parent, menu));
    join(window, *windowOf(window));
    const CREATESTRUCTW creation = {
        parameter, instance,  menu,         parent, height, width, y, x, static_cast<LONG>(style),
        title,     className, extendedStyle};
    if (!makeWidget(window, windowClass->second, creation)) {
        forget(window);
        return nullptr;
    }
    const auto sent = reinterpret_cast<LPARAM>(&creation);
    if (SendMessageW(window, WM_NCCREATE, 0, sent) == FALSE) {
        finish(window);
        return nullptr;
    }
    if (SendMessageW(window, WM_CREATE, 0, sent) == -1) {
        DestroyWindow(window);
        return nullptr;
    }
    if (windowLibrary() != nullptr && isOwnWindow(window))
        windowLibrary()->made(window, (style & WS_VISIBLE) != 0);
    return isOwnWindow(window) ? window : nullptr;
}

BOOL WINAPI DestroyWindow(HWND handle) {
    Window *window = windowOf(handle);
    if (window == nullptr || std::exchange(window->ending, true))
        return FALSE;
    if (windowLibrary() != nullptr)
        windowLibrary()->hide(handle);
    for (const HWND owned : std::vector(window->owned))
        DestroyWindow(owned);
    sendDestroy(handle);
    finish(handle);
    return TRUE;
}

BOOL WINAPI IsWindow(HWND window) {
    return isOwnWindow(window) ? TRUE : FALSE;
}

BOOL WINAPI IsChild(HWND parent, HWND handle) {
    for (const Window *window = windowOf(handle); window != nullptr && window->parent != nullptr;
         window = windowOf(window->parent)) {
        if (window->parent == parent)
            return TRUE;
    }
    return FALSE;
}

HWND WINAPI GetParent(HWND handle) {
    const Window *window = windowOf(handle);
    if (window == nullptr)
        return nullptr;
    return window->parent != nullptr ? window->parent : window->owner;
}

HWND WINAPI GetDlgItem(HWND handle, int id) {
    if (const Window *window = windowOf(handle)) {
        for (const HWND child : window->children) {
            if (GetDlgCtrlID(child) == id)
                return child;
        }
    }
    return nullptr;
}

int WINAPI GetDlgCtrlID(HWND handle) {
    const Window *window = windowOf(handle);
    return window == nullptr || window->parent == nullptr ? 0 : static_cast<int>(window->id);
}

LRESULT WINAPI DefWindowProcW(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case WM_NCCREATE:
        return TRUE;
    case WM_CLOSE:
        DestroyWindow(window);
        return 0;
    default:
        return windowLibrary() == nullptr ? 0 : windowLibrary()->defaultProcedure(window, message, wParam, lParam);
    }
}

LONG_PTR WINAPI GetWindowLongPtrW(HWND handle, int index) {
    const Window *window = windowOf(handle);
    if (window == nullptr)
        return 0;
    switch (index) {
    case GWL_STYLE:
        return static_cast<LONG_PTR>(window->style);
    case GWL_EXSTYLE:
        return static_cast<LONG_PTR>(window->extendedStyle);
    case GWLP_USERDATA:
        return window->userData;
    default:
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
}

LONG_PTR WINAPI SetWindowLongPtrW(HWND handle, int index, LONG_PTR value) {
    Window *window = windowOf(handle);
    if (window == nullptr)
        return 0;
    switch (index) {
    case GWL_EXSTYLE:
        return static_cast<LONG_PTR>(std::exchange(window->extendedStyle, static_cast<DWORD>(value)));
    case GWLP_USERDATA:
        return std::exchange(window->userData, value);
    default:
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
}

LRESULT WINAPI SendMessageW(HWND handle, UINT message, WPARAM wParam, LPARAM lParam) {
    Window *window = windowOf(handle);
    if (window == nullptr)
        return 0;
    Call call = {handle, window->subclasses.size(), innermostCall};
    innermostCall = &call;
    const LRESULT result = callNext(call, *window, message, wParam, lParam);
    innermostCall = call.outer;
    return result;
}

BOOL WINAPI SetWindowSubclass(HWND handle, SUBCLASSPROC procedure, UINT_PTR id, DWORD_PTR reference) {
    Window *window = windowOf(handle);
    if (window == nullptr || procedure == nullptr)
        return FALSE;
    for (Subclass &subclass : window->subclasses) {
        if (subclass.procedure == procedure && subclass.id == id) {
            subclass.reference = reference;
            return TRUE;
        }
    }
    window->subclasses.push_back({procedure, id, reference});
    return TRUE;
}

BOOL WINAPI RemoveWindowSubclass(HWND handle, SUBCLASSPROC procedure, UINT_PTR id) {
    Window *window = windowOf(handle);
    if (window == nullptr)
        return FALSE;
    auto &all = window->subclasses;
    const auto found = std::find_if(all.begin(), all.end(), [&](const Subclass &subclass) {
        return subclass.procedure == procedure && subclass.id == id;
    });
    if (found == all.end())
        return FALSE;
    const auto index = static_cast<std::size_t>(found - all.begin());
    all.erase(found);
    // Calls that are under way go on with the ones that they have not asked yet.
    for (Call *call = innermostCall; call != nullptr; call = call->outer) {
        if (call->window == handle && index < call->left)
            --call->left;
    }
    return TRUE;
}

LRESULT WINAPI DefSubclassProc(HWND handle, UINT message, WPARAM wParam, LPARAM lParam) {
    Window *window = windowOf(handle);
    Call *call = callOf(handle);
    return window == nullptr || call == nullptr ? 0 : callNext(*call, *window, message, wParam, lParam);
}
