#include "engine/drives.h"

#include "platform/win32.h"

namespace dm {

namespace {

/// The roots one behind another, each null-terminated, or nothing where the system gives no list.
WString driveRoots() {
    constexpr DWORD maximumLength = 32768;
    const DWORD length = GetLogicalDriveStringsW(0, nullptr);
    if (length == 0 || length > maximumLength)
        return {};
    WString roots(length + 1, W('\0'));
    if (GetLogicalDriveStringsW(static_cast<DWORD>(roots.size()), roots.data()) == 0)
        return {};
    return roots;
}

bool isShownType(UINT type) {
    return type == DRIVE_REMOVABLE || type == DRIVE_FIXED || type == DRIVE_RAMDISK;
}

} // namespace

std::vector<DriveInfo> listDrives() {
    std::vector<DriveInfo> drives;
    const WString roots = driveRoots();
    for (std::size_t start = 0; start < roots.size() && roots[start] != 0;) {
        const WString root = roots.c_str() + start;
        start += root.size() + 1;
        if (!isShownType(GetDriveTypeW(root.c_str())))
            continue;
        // Fails for a card reader without a medium.
        ULARGE_INTEGER available = {};
        ULARGE_INTEGER total = {};
        if (GetDiskFreeSpaceExW(root.c_str(), &available, &total, nullptr))
            drives.push_back({root, available.QuadPart, total.QuadPart});
    }
    return drives;
}

} // namespace dm
