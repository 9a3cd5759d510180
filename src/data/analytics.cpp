#include "data/analytics.h"

#include "data/http.h"

#include <string>

namespace dm {

void sendUsageEvent(const Settings &settings, std::uint64_t bytesFreed, std::uint64_t filesDeleted,
                    const std::atomic<bool> &cancelFlag) noexcept {
    if (!settings.consent || cancelFlag)
        return;
    try {
        const std::string event = R"({"event":"cleanup","bytes_deleted":)" + std::to_string(bytesFreed) +
                                  R"(,"files_deleted":)" + std::to_string(filesDeleted) + '}';
        net::postJson(W("/api/index.php?route=v1/events"), event, &cancelFlag);
    } catch (...) {
        // The event exists to be lost rather than to disturb anybody.
    }
}

} // namespace dm
