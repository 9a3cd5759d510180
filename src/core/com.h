// Owners of COM objects, and of what COM functions allocate.
#pragma once

#include "platform/win32.h"

#include <utility>

namespace dm {

/// Holds one reference and releases it on scope exit; null holds nothing.
template <typename Interface>
class ComOwner {
public:
    ComOwner() = default;
    ComOwner(ComOwner &&other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    ComOwner &operator=(ComOwner &&other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }
    ~ComOwner() {
        if (object_ != nullptr)
            object_->Release();
    }

    explicit operator bool() const { return object_ != nullptr; }
    Interface *get() const { return object_; }
    Interface *operator->() const { return object_; }
    /// Where a function puts the reference that it gives. Only for an owner that holds nothing.
    Interface **out() { return &object_; }
    void **outVoid() { return reinterpret_cast<void **>(&object_); }

private:
    Interface *object_ = nullptr;
};

/// Frees what was allocated for its caller with CoTaskMemFree.
template <typename Pointer>
class TaskMemoryOwner {
public:
    TaskMemoryOwner() = default;
    TaskMemoryOwner(const TaskMemoryOwner &) = delete;
    TaskMemoryOwner &operator=(const TaskMemoryOwner &) = delete;
    ~TaskMemoryOwner() { CoTaskMemFree(memory_); }

    Pointer get() const { return memory_; }
    Pointer *out() { return &memory_; }

private:
    Pointer memory_ = nullptr;
};

/// COM on the calling thread, as long as this lives.
class ComApartment {
public:
    explicit ComApartment(DWORD flags) : result_(CoInitializeEx(nullptr, flags)) {}
    ComApartment(const ComApartment &) = delete;
    ComApartment &operator=(const ComApartment &) = delete;
    ~ComApartment() {
        if (SUCCEEDED(result_))
            CoUninitialize();
    }

    HRESULT result() const { return result_; }

private:
    HRESULT result_;
};

} // namespace dm
