// How much room the local drives have.
#pragma once

#include "platform/text.h"

#include <cstdint>
#include <vector>

namespace dm {

struct DriveInfo {
    WString root;                 ///< such as "C:\"
    std::uint64_t freeBytes = 0;  ///< available to this user
    std::uint64_t totalBytes = 0; ///< available to this user
};

/// The removable, fixed and RAM drives in the order of the system's list. A drive that cannot be read is missing from
/// the list. Blocks for as long as the system takes.
std::vector<DriveInfo> listDrives();

} // namespace dm
