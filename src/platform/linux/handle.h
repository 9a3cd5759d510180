// What a HANDLE points to.
#pragma once

#include "platform/win32.h"

namespace dm::platform {

/// Everything that CloseHandle can close. A HANDLE is a pointer to one of these.
struct Object {
    virtual ~Object() = default;
};

/// The object behind a handle if it is of the type asked for; otherwise null with ERROR_INVALID_HANDLE set.
template <typename Type>
Type *objectOf(HANDLE handle) {
    Type *object = handle == nullptr || handle == INVALID_HANDLE_VALUE
                       ? nullptr
                       : dynamic_cast<Type *>(static_cast<Object *>(handle));
    if (object == nullptr)
        SetLastError(ERROR_INVALID_HANDLE);
    return object;
}

/// Hands an object to the program, which gives it back with CloseHandle.
inline HANDLE newHandle(Object *object) {
    return object;
}

} // namespace dm::platform
