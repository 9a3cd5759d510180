// Lets memory run out where a test wants it.
#pragma once

namespace dm::test {

/// After so many more allocations on other threads than the caller's, the next one there fails, once.
void failAllocationAfter(long allocations);
/// True if that allocation was asked for by now. Nothing fails any more.
bool hasFailed();

} // namespace dm::test
