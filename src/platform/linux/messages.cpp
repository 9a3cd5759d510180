#include "platform/linux/messages.h"

#include "platform/linux/errors.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <new>
#include <optional>
#include <utility>

namespace dm::platform {
namespace {

struct Posted {
    MSG message;
    Origin origin;
};

/// What other threads may touch, and only under the mutex.
struct Queue {
    std::mutex mutex;
    std::condition_variable posted;
    std::deque<Posted> messages;
    std::optional<int> quitCode;
};

Queue &queue() {
    static Queue queue;
    return queue;
}

/// The message that was fetched last, for its origin is to be found when it is dispatched.
Posted &lastFetched() {
    static Posted posted = {};
    return posted;
}

bool isSame(const MSG &left, const MSG &right) {
    return left.hwnd == right.hwnd && left.message == right.message && left.wParam == right.wParam &&
           left.lParam == right.lParam && left.time == right.time;
}

/// The next message that fits, with the queue locked; WM_QUIT when there is no message at all.
std::optional<Posted> next(Queue &all, HWND window, UINT first, UINT last, bool remove) {
    const bool any = first == 0 && last == 0;
    const auto found = std::find_if(all.messages.begin(), all.messages.end(), [&](const Posted &posted) {
        return (window == nullptr || posted.message.hwnd == window) &&
               (any || (posted.message.message >= first && posted.message.message <= last));
    });
    if (found != all.messages.end()) {
        if (!remove)
            return *found;
        Posted posted = std::move(*found);
        all.messages.erase(found);
        return posted;
    }
    if (!all.messages.empty() || !all.quitCode)
        return std::nullopt;
    Posted quit = {};
    quit.message.message = WM_QUIT;
    quit.message.wParam = static_cast<WPARAM>(*all.quitCode);
    if (remove)
        all.quitCode.reset();
    return quit;
}

void wait(std::unique_lock<std::mutex> &lock) {
    if (windowLibrary() == nullptr) {
        queue().posted.wait(lock);
        return;
    }
    lock.unlock();
    windowLibrary()->wait();
    lock.lock();
}

} // namespace

bool post(HWND window, UINT message, WPARAM wParam, LPARAM lParam, Origin origin) {
    Queue &all = queue();
    {
        const std::lock_guard lock(all.mutex);
        // Under the lock: a window that ends drops what is posted to it once it is no longer found here.
        if (!isOwnWindow(window))
            return fail(ERROR_INVALID_WINDOW_HANDLE) != FALSE;
        try {
            const auto time = static_cast<DWORD>(GetTickCount64());
            all.messages.push_back({{window, message, wParam, lParam, time, {}}, std::move(origin)});
        } catch (const std::bad_alloc &) {
            return fail(ERROR_NOT_ENOUGH_MEMORY) != FALSE;
        }
    }
    all.posted.notify_one();
    if (const WindowLibrary *library = windowLibrary())
        library->wake();
    return true;
}

void readdressKeys(HWND from, HWND to) {
    const std::lock_guard lock(queue().mutex);
    for (Posted &posted : queue().messages) {
        MSG &message = posted.message;
        if (message.hwnd == from && message.message >= WM_KEYFIRST && message.message <= WM_KEYLAST)
            message.hwnd = to;
    }
}

void dropPosted(HWND window) {
    const std::lock_guard lock(queue().mutex);
    std::erase_if(queue().messages, [window](const Posted &posted) { return posted.message.hwnd == window; });
}

} // namespace dm::platform

using namespace dm::platform;

BOOL WINAPI GetMessageW(MSG *message, HWND window, UINT first, UINT last) {
    Queue &all = queue();
    std::unique_lock lock(all.mutex);
    for (;;) {
        if (std::optional<Posted> found = next(all, window, first, last, true)) {
            lock.unlock();
            *message = found->message;
            lastFetched() = std::move(*found);
            return message->message != WM_QUIT;
        }
        wait(lock);
    }
}

BOOL WINAPI PeekMessageW(MSG *message, HWND window, UINT first, UINT last, UINT remove) {
    Queue &all = queue();
    const bool removed = (remove & PM_REMOVE) != 0;
    std::unique_lock lock(all.mutex);
    std::optional<Posted> found = next(all, window, first, last, removed);
    lock.unlock();
    if (!found)
        return FALSE;
    *message = found->message;
    if (removed)
        lastFetched() = std::move(*found);
    return TRUE;
}

BOOL WINAPI TranslateMessage(const MSG *message) {
    switch (message->message) {
    case WM_KEYDOWN:
    case WM_KEYUP:
    case WM_SYSKEYDOWN:
    case WM_SYSKEYUP:
        return TRUE;
    default:
        return FALSE;
    }
}

LRESULT WINAPI DispatchMessageW(const MSG *message) {
    const MSG dispatched = *message;
    Origin origin;
    if (isSame(dispatched, lastFetched().message))
        origin = std::exchange(lastFetched().origin, nullptr);
    if (origin != nullptr && windowLibrary() != nullptr)
        return windowLibrary()->dispatch(dispatched, origin);
    return SendMessageW(dispatched.hwnd, dispatched.message, dispatched.wParam, dispatched.lParam);
}

void WINAPI PostQuitMessage(int exitCode) {
    {
        const std::lock_guard lock(queue().mutex);
        queue().quitCode = exitCode;
    }
    if (const WindowLibrary *library = windowLibrary())
        library->wake();
}

UINT WINAPI RegisterWindowMessageW(LPCWSTR name) {
    constexpr UINT firstRegistered = 0xC000;
    static std::map<dm::WString, UINT> registered;
    return registered.emplace(name, firstRegistered + static_cast<UINT>(registered.size())).first->second;
}
