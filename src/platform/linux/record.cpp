#include "platform/linux/record.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cstring>

namespace dm::platform {
namespace {

constexpr std::int64_t secondsFrom1601To1970 = 11'644'473'600;
constexpr std::int64_t ticksPerSecond = 10'000'000;

/// The finaliser of splitmix64: every input bit reaches every output bit.
std::uint64_t mix(std::uint64_t value) {
    value ^= value >> 30;
    value *= 0xbf58476d1ce4e5b9U;
    value ^= value >> 27;
    value *= 0x94d049bb133111ebU;
    return value ^ (value >> 31);
}

/// For file systems without birth times: their file handle carries the inode's generation.
std::uint64_t generationOf(int descriptor) {
    alignas(struct file_handle) unsigned char bytes[sizeof(struct file_handle) + MAX_HANDLE_SZ] = {};
    auto *handle = reinterpret_cast<struct file_handle *>(bytes);
    handle->handle_bytes = MAX_HANDLE_SZ;
    int mountId = 0;
    if (name_to_handle_at(descriptor, "", handle, &mountId, AT_EMPTY_PATH) != 0)
        return 0;
    std::uint64_t folded = handle->handle_bytes;
    for (unsigned i = 0; i < handle->handle_bytes; ++i)
        folded = mix(folded + bytes[sizeof(struct file_handle) + i]);
    return folded;
}

} // namespace

bool readRecord(int folder, const char *name, Record &record) {
    const int flags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT | (*name == '\0' ? AT_EMPTY_PATH : 0);
    return statx(folder, name, flags, STATX_BASIC_STATS | STATX_BTIME | STATX_MNT_ID, &record) == 0;
}

ObjectId idOf(const Record &record) {
    return {makedev(record.stx_dev_major, record.stx_dev_minor), record.stx_ino};
}

bool isUnchanged(const Record &now, const Record &then) {
    return idOf(now) == idOf(then) && now.stx_mode == then.stx_mode && now.stx_size == then.stx_size &&
           now.stx_mtime.tv_sec == then.stx_mtime.tv_sec && now.stx_mtime.tv_nsec == then.stx_mtime.tv_nsec;
}

std::uint64_t fileIndexOf(int descriptor, const Record &record) {
    const ObjectId id = idOf(record);
    std::uint64_t birth = 0;
    if ((record.stx_mask & STATX_BTIME) != 0)
        birth = static_cast<std::uint64_t>(record.stx_btime.tv_sec) * 1'000'000'000U + record.stx_btime.tv_nsec;
    else
        birth = generationOf(descriptor);
    return mix(mix(mix(id.device) + id.inode) + birth);
}

DWORD volumeSerialOf(const Record &record) {
    return static_cast<DWORD>(mix(idOf(record).device) >> 32);
}

DWORD attributesOf(const Record &record, std::uint64_t parentDevice) {
    const bool mountPoint = (record.stx_attributes & (STATX_ATTR_MOUNT_ROOT | STATX_ATTR_AUTOMOUNT)) != 0;
    if (S_ISDIR(record.stx_mode)) {
        const bool elsewhere = mountPoint || idOf(record).device != parentDevice;
        return FILE_ATTRIBUTE_DIRECTORY | (elsewhere ? FILE_ATTRIBUTE_REPARSE_POINT : 0);
    }
    if (!S_ISREG(record.stx_mode) || mountPoint)
        return FILE_ATTRIBUTE_REPARSE_POINT;
    return (record.stx_mode & S_IWUSR) == 0 ? FILE_ATTRIBUTE_READONLY : FILE_ATTRIBUTE_NORMAL;
}

FILETIME fileTimeOf(const struct statx_timestamp &time) {
    const std::int64_t seconds = time.tv_sec + secondsFrom1601To1970;
    const std::uint64_t ticks =
        seconds < 0 ? 0 : static_cast<std::uint64_t>(seconds) * ticksPerSecond + time.tv_nsec / 100;
    return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

struct timespec timespecOf(const FILETIME &time) {
    const std::uint64_t ticks = (static_cast<std::uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
    struct timespec result = {};
    result.tv_sec = static_cast<std::int64_t>(ticks / ticksPerSecond) - secondsFrom1601To1970;
    result.tv_nsec = static_cast<long>(ticks % ticksPerSecond) * 100;
    return result;
}

Rights currentRights() {
    struct __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    struct __user_cap_data_struct sets[_LINUX_CAPABILITY_U32S_3] = {};
    syscall(SYS_capget, &header, sets);
    const auto holds = [&sets](unsigned capability) {
        return (sets[capability / 32].effective & (1U << (capability % 32))) != 0;
    };
    return {geteuid(), holds(CAP_FOWNER), holds(CAP_LEASE)};
}

} // namespace dm::platform
