#include "tests/support/AllocationFaults.h"

#include <cstdint>
#include <cstdlib>
#include <new>
#include <stdexcept>

namespace {

/// How many allocations of this thread may succeed before one fails; nothing is counted while s_isArmed is false.
constinit thread_local size_t s_allowedAllocations = 0;
constinit thread_local bool s_isArmed = false;
constinit thread_local bool s_isWatched = false;

/// Returns whether the next allocation may succeed.
bool mayPass() noexcept {
    if (!s_isArmed)
        return true;
    if (s_allowedAllocations != 0) {
        --s_allowedAllocations;
        return true;
    }
    s_isArmed = false;
    return false;
}

void* allocate(const size_t size) noexcept {
    return mayPass() ? std::malloc(size == 0 ? 1 : size) : nullptr;
}

void* allocateAligned(const size_t size, const std::align_val_t alignment) noexcept {
    const auto multiple = static_cast<size_t>(alignment);
    if (size > SIZE_MAX - multiple)
        return nullptr;
    // The C library requires a size that is a multiple of the alignment.
    const size_t roundedSize = size == 0 ? multiple : (size + multiple - 1) / multiple * multiple;
    return mayPass() ? std::aligned_alloc(multiple, roundedSize) : nullptr;
}

void* orThrow(void* const block) {
    if (block == nullptr)
        throw std::bad_alloc();
    return block;
}

} // namespace

AllocationFaults::AllocationFaults(const size_t allowedAllocations) {
    if (s_isWatched)
        throw std::logic_error("The allocations of a thread are watched twice.");
    s_isWatched = true;
    s_allowedAllocations = allowedAllocations;
    s_isArmed = true;
}

AllocationFaults::~AllocationFaults() {
    s_isArmed = false;
    s_isWatched = false;
}

bool AllocationFaults::hasFailed() const {
    return !s_isArmed;
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
    std::free(block);
}

void operator delete[](void* const block) noexcept {
    std::free(block);
}

void operator delete(void* const block, size_t) noexcept {
    std::free(block);
}

void operator delete[](void* const block, size_t) noexcept {
    std::free(block);
}

void operator delete(void* const block, const std::nothrow_t&) noexcept {
    std::free(block);
}

void operator delete[](void* const block, const std::nothrow_t&) noexcept {
    std::free(block);
}

void operator delete(void* const block, std::align_val_t) noexcept {
    std::free(block);
}

void operator delete[](void* const block, std::align_val_t) noexcept {
    std::free(block);
}

void operator delete(void* const block, size_t, std::align_val_t) noexcept {
    std::free(block);
}

void operator delete[](void* const block, size_t, std::align_val_t) noexcept {
    std::free(block);
}

void operator delete(void* const block, std::align_val_t, const std::nothrow_t&) noexcept {
    std::free(block);
}

void operator delete[](void* const block, std::align_val_t, const std::nothrow_t&) noexcept {
    std::free(block);
}
