// What the kernel says about an object, and how that is told in published terms.
#pragma once

#include "platform/win32.h"

#include <sys/stat.h>

#include <cstdint>

namespace dm::platform {

using Record = struct statx;

/// Reads the record of a name under a folder, or (with an empty name) of the descriptor's own object. Follows no link
/// and mounts nothing. False with errno set.
bool readRecord(int folder, const char *name, Record &record);

/// Device and inode: which object it is for as long as anybody holds it open. An inode number that is free is given
/// out again at once, so across time fileIndexOf is the identity.
struct ObjectId {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    bool operator==(const ObjectId &) const = default;
};
ObjectId idOf(const Record &record);

/// The same object, with the mode, the size and the time of its last writing that it had.
bool isUnchanged(const Record &now, const Record &then);

/// Device, inode and birth time (or the file handle with its generation where the file system keeps no birth time)
/// folded into 64 bits. `descriptor` is the object's own.
std::uint64_t fileIndexOf(int descriptor, const Record &record);
DWORD volumeSerialOf(const Record &record);

/// FILE_ATTRIBUTE_ flags. Whatever is neither a regular file nor a folder, and every mount point, is a reparse point; a
/// folder on another device than `parentDevice` is one too. A file that its owner may not write is read-only.
DWORD attributesOf(const Record &record, std::uint64_t parentDevice);

/// Ticks of 100 nanoseconds since 1601 UTC; 0 for what lies before.
FILETIME fileTimeOf(const struct statx_timestamp &time);
struct timespec timespecOf(const FILETIME &time);

/// The effective user's right to remove any file at all, and to ask the kernel who has another user's file open.
struct Rights {
    uid_t user;
    bool ownsAll;   ///< CAP_FOWNER
    bool leasesAll; ///< CAP_LEASE
};
Rights currentRights();

} // namespace dm::platform
