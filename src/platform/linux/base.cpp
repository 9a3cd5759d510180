#include "platform/linux/win32_base.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iterator>

#include <unistd.h>

namespace {

constexpr long nanosecondsPerSecond = 1'000'000'000;

thread_local DWORD lastError = NO_ERROR;

timespec timeOf(clockid_t clock) {
    timespec time = {};
    clock_gettime(clock, &time);
    return time;
}

} // namespace

DWORD WINAPI GetLastError() {
    return lastError;
}

void WINAPI SetLastError(DWORD code) {
    lastError = code;
}

void WINAPI GetSystemTimeAsFileTime(FILETIME *time) {
    constexpr std::uint64_t ticksPerSecond = 10'000'000;
    constexpr std::uint64_t ticksFrom1601To1970 = 11'644'473'600 * ticksPerSecond;
    const timespec now = timeOf(CLOCK_REALTIME);
    const std::uint64_t ticks = ticksFrom1601To1970 + static_cast<std::uint64_t>(now.tv_sec) * ticksPerSecond +
                                static_cast<std::uint64_t>(now.tv_nsec) / 100;
    time->dwLowDateTime = static_cast<DWORD>(ticks);
    time->dwHighDateTime = static_cast<DWORD>(ticks >> 32);
}

ULONGLONG WINAPI GetTickCount64() {
    // The published clock also counts while the machine sleeps.
    const timespec now = timeOf(CLOCK_BOOTTIME);
    return static_cast<ULONGLONG>(now.tv_sec) * 1000 + static_cast<ULONGLONG>(now.tv_nsec) / 1'000'000;
}

void WINAPI Sleep(DWORD milliseconds) {
    // To a point in time, so that signals do not make the wait longer.
    timespec end = timeOf(CLOCK_MONOTONIC);
    end.tv_sec += milliseconds / 1000;
    end.tv_nsec += static_cast<long>(milliseconds % 1000) * 1'000'000;
    if (end.tv_nsec >= nanosecondsPerSecond) {
        end.tv_nsec -= nanosecondsPerSecond;
        ++end.tv_sec;
    }
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) {
    }
}

HRESULT WINAPI CoInitializeEx(LPVOID, DWORD) {
    return S_OK;
}

void WINAPI CoUninitialize() {}

void WINAPI CoTaskMemFree(LPVOID memory) {
    std::free(memory);
}

HRESULT WINAPI CoCreateGuid(GUID *guid) {
    if (guid == nullptr)
        return E_INVALIDARG;
    if (getentropy(guid, sizeof *guid) != 0)
        return E_FAIL;
    guid->Data3 = static_cast<std::uint16_t>((guid->Data3 & 0x0FFF) | 0x4000);
    guid->Data4[0] = static_cast<std::uint8_t>((guid->Data4[0] & 0x3F) | 0x80);
    return S_OK;
}

int WINAPI StringFromGUID2(REFGUID guid, LPOLESTR text, int units) {
    char form[39];
    if (units < static_cast<int>(std::size(form)))
        return 0;
    std::snprintf(form, std::size(form), "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", guid.Data1, guid.Data2,
                  guid.Data3, guid.Data4[0], guid.Data4[1], guid.Data4[2], guid.Data4[3], guid.Data4[4], guid.Data4[5],
                  guid.Data4[6], guid.Data4[7]);
    for (const char unit : form)
        *text++ = static_cast<WCHAR>(unit);
    return static_cast<int>(std::size(form));
}
