#include "data/http_clock.h"

#include <chrono>

namespace dm::net {

std::int64_t monotonicNow() {
    return std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}

} // namespace dm::net
