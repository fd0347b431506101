#include "tests/support/AllocationFaults.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <stdexcept>

namespace {

/// How many allocations of this thread may succeed before one fails; nothing is counted while s_isArmed is false.
constinit thread_local size_t s_allowedAllocations = 0;
constinit thread_local size_t s_numberOfFailures = 0;
constinit thread_local FaultDuration s_duration = FaultDuration::ONCE;
constinit thread_local bool s_isArmed = false;
constinit thread_local bool s_isWatched = false;

/// Changed only while there is a BlockCounter, so that threads do not contend for it otherwise.
constinit std::atomic<ptrdiff_t> s_numberOfBlocks = 0;
constinit std::atomic<bool> s_areBlocksCounted = false;

void countBlocks(const ptrdiff_t difference) noexcept {
    if (s_areBlocksCounted.load(std::memory_order_relaxed))
        s_numberOfBlocks.fetch_add(difference, std::memory_order_relaxed);
}

/// Returns whether the next allocation may succeed.
bool mayPass() noexcept {
    if (!s_isArmed)
        return true;
    if (s_allowedAllocations != 0) {
        --s_allowedAllocations;
        return true;
    }
    ++s_numberOfFailures;
    s_isArmed = s_duration == FaultDuration::FOR_GOOD;
    return false;
}

/// Returns a new block after counting it.
void* count(void* const block) noexcept {
    if (block != nullptr)
        countBlocks(1);
    return block;
}

void release(void* const block) noexcept {
    if (block != nullptr)
        countBlocks(-1);
    std::free(block);
}

void* allocate(const size_t size) noexcept {
    return mayPass() ? count(std::malloc(size == 0 ? 1 : size)) : nullptr;
}

void* allocateAligned(const size_t size, const std::align_val_t alignment) noexcept {
    const auto multiple = static_cast<size_t>(alignment);
    if (size > SIZE_MAX - multiple)
        return nullptr;
    // The C library requires a size that is a multiple of the alignment.
    const size_t roundedSize = size == 0 ? multiple : (size + multiple - 1) / multiple * multiple;
    return mayPass() ? count(std::aligned_alloc(multiple, roundedSize)) : nullptr;
}

void* orThrow(void* const block) {
    if (block == nullptr)
        throw std::bad_alloc();
    return block;
}

} // namespace

AllocationFaults::AllocationFaults(const size_t allowedAllocations, const FaultDuration duration) {
    if (s_isWatched)
        throw std::logic_error("The allocations of a thread are watched twice.");
    s_isWatched = true;
    s_allowedAllocations = allowedAllocations;
    s_numberOfFailures = 0;
    s_duration = duration;
    s_isArmed = true;
}

AllocationFaults::~AllocationFaults() {
    s_isArmed = false;
    s_isWatched = false;
}

size_t AllocationFaults::getNumberOfFailures() const {
    return s_numberOfFailures;
}

BlockCounter::BlockCounter() {
    s_numberOfBlocks.store(0, std::memory_order_relaxed);
    if (s_areBlocksCounted.exchange(true, std::memory_order_relaxed))
        throw std::logic_error("Blocks are counted twice.");
}

BlockCounter::~BlockCounter() {
    s_areBlocksCounted.store(false, std::memory_order_relaxed);
}

ptrdiff_t BlockCounter::getGrowth() const {
    return s_numberOfBlocks.load(std::memory_order_relaxed);
}

// Everything below takes memory from malloc, which the sanitizers watch: they still detect leaks, overruns and uses
// after release. They no longer check that memory from new is released by delete and not by free.

void* operator new(const size_t size) {
    return orThrow(allocate(size));
}

void* operator new[](const size_t size) {
    return orThrow(allocate(size));
}

void* operator new(const size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}

void* operator new[](const size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}

void* operator new(const size_t size, const std::align_val_t alignment) {
    return orThrow(allocateAligned(size, alignment));
}

void* operator new[](const size_t size, const std::align_val_t alignment) {
    return orThrow(allocateAligned(size, alignment));
}

void* operator new(const size_t size, const std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return allocateAligned(size, alignment);
}

void* operator new[](const size_t size, const std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return allocateAligned(size, alignment);
}

void operator delete(void* const block) noexcept {
    release(block);
}

void operator delete[](void* const block) noexcept {
    release(block);
}

void operator delete(void* const block, size_t) noexcept {
    release(block);
}

void operator delete[](void* const block, size_t) noexcept {
    release(block);
}

void operator delete(void* const block, const std::nothrow_t&) noexcept {
    release(block);
}

void operator delete[](void* const block, const std::nothrow_t&) noexcept {
    release(block);
}

void operator delete(void* const block, std::align_val_t) noexcept {
    release(block);
}

void operator delete[](void* const block, std::align_val_t) noexcept {
    release(block);
}

void operator delete(void* const block, size_t, std::align_val_t) noexcept {
    release(block);
}

void operator delete[](void* const block, size_t, std::align_val_t) noexcept {
    release(block);
}

void operator delete(void* const block, std::align_val_t, const std::nothrow_t&) noexcept {
    release(block);
}

void operator delete[](void* const block, std::align_val_t, const std::nothrow_t&) noexcept {
    release(block);
}
