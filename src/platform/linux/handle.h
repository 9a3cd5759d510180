// What a HANDLE points to.
#pragma once

#include "platform/win32.h"

#include <type_traits>
#include <typeinfo>

namespace dm::platform {

/// Everything that CloseHandle can close. A HANDLE is a pointer to one of these.
struct Object {
    virtual ~Object() = default;
};

/// The object behind a handle if it is of the type asked for; otherwise null with ERROR_INVALID_HANDLE set.
template <typename Type>
Type *objectOf(HANDLE handle) {
    if (handle != nullptr && handle != INVALID_HANDLE_VALUE) {
        auto *object = static_cast<Object *>(handle);
        if constexpr (std::is_same_v<Type, Object>)
            return object;
        // A handle is asked for what it is several times for every folder of a walk: dynamic_cast takes longer.
        static_assert(std::is_final_v<Type> || std::is_same_v<Type, Object>);
        if (typeid(*object) == typeid(Type))
            return static_cast<Type *>(object);
    }
    SetLastError(ERROR_INVALID_HANDLE);
    return nullptr;
}

/// Hands an object to the program, which gives it back with CloseHandle.
inline HANDLE newHandle(Object *object) {
    return object;
}

} // namespace dm::platform
