// Counts what the program allocates.
#pragma once

#include <cstdint>

namespace dm::bench {

/// The allocations by operator new in the calling thread so far.
std::uint64_t allocationCount();

} // namespace dm::bench
