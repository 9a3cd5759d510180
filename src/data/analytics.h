// The one optional event that the program sends: how much a clean-up freed.
#pragma once

#include "data/settings.h"

#include <atomic>
#include <cstdint>

namespace dm {

/// Sends the two counts of a clean-up if the settings that it began with allow it and the flag is not set; nothing
/// else ever leaves. Blocks as postJson does. An event that cannot be sent is lost without a word.
void sendUsageEvent(const Settings &settings, std::uint64_t bytesFreed, std::uint64_t filesDeleted,
                    const std::atomic<bool> &cancelFlag) noexcept;

} // namespace dm
