// Owners of Win32 handles.
#pragma once

#include "platform/win32.h"

#include <utility>

namespace dm {

/// Closes its handle on scope exit; neither null nor INVALID_HANDLE_VALUE is anything to close. Closing leaves the last
/// error alone: a handle may go out of scope between a failure and the caller's look at its code.
template <typename Closer>
class HandleOwner {
public:
    HandleOwner() = default;
    explicit HandleOwner(HANDLE handle) : handle_(handle) {}
    HandleOwner(HandleOwner &&other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
    HandleOwner &operator=(HandleOwner &&other) noexcept {
        if (this != &other) {
            reset();
            handle_ = std::exchange(other.handle_, nullptr);
        }
        return *this;
    }
    ~HandleOwner() { reset(); }

    explicit operator bool() const { return handle_ != nullptr && handle_ != INVALID_HANDLE_VALUE; }
    HANDLE get() const { return handle_; }
    void reset() {
        const HANDLE handle = std::exchange(handle_, nullptr);
        if (handle == nullptr || handle == INVALID_HANDLE_VALUE)
            return;
        const DWORD lastError = GetLastError();
        Closer::close(handle);
        SetLastError(lastError);
    }

private:
    HANDLE handle_ = nullptr;
};

struct CloseHandleCloser {
    static void close(HANDLE handle) { CloseHandle(handle); }
};
struct FindCloser {
    static void close(HANDLE find) { FindClose(find); }
};

/// Owns what CloseHandle closes.
using OwnedHandle = HandleOwner<CloseHandleCloser>;
/// Owns the search of FindFirstFileExW.
using OwnedSearch = HandleOwner<FindCloser>;

} // namespace dm
