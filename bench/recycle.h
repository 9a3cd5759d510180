// The move of large files to the Recycle Bin.
#pragma once

#include "platform/text.h"

#include <cstdint>

namespace dm::bench {

/// Searches a folder for files of at least so many megabytes and moves all that it finds to the Recycle Bin.
void recycleLargeFiles(const WString &folder, std::uint64_t minMegabytes);

} // namespace dm::bench
