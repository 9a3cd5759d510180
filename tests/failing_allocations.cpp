#include "failing_allocations.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

constexpr long never = -1;

std::atomic<long> left = never;
thread_local bool isSpared = false;

bool failsNow() {
    if (isSpared || left.load(std::memory_order_relaxed) == never)
        return false;
    return left.fetch_sub(1) == 0;
}

} // namespace

// All other forms of new and delete that the program uses come down to these.
void *operator new(std::size_t size) {
    void *memory = failsNow() ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

void operator delete(void *memory) noexcept {
    std::free(memory);
}

void operator delete(void *memory, std::size_t) noexcept {
    std::free(memory);
}

void dm::test::failAllocationAfter(long allocations) {
    isSpared = true;
    left = allocations;
}

bool dm::test::hasFailed() {
    return left.exchange(never) < 0;
}
