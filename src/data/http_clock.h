// The clock of the client's deadline.
#pragma once

#include <cstdint>

namespace dm::net {

/// Nanoseconds of a clock that never goes back. It stands in a source file of its own so that the tests, which do not
/// wait for deadlines, can be linked with a clock that they set.
std::int64_t monotonicNow();

} // namespace dm::net
