#include "tests/schedules/ReplacedMemory.h"

#include "Engine/core/platform/system/VirtualMemory.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <limits>

namespace {

constexpr size_t PAGE_SIZE = 64;
constexpr size_t CAPACITY = size_t(1) << 28;
constexpr size_t FILLED =
    size_t(1) << 12; // bytes of a reservation that are filled; no schedule uses more without a commit
constexpr size_t NEVER = std::numeric_limits<size_t>::max();

// The system provides only what is used.
alignas(PAGE_SIZE) std::array<uint8_t, CAPACITY> s_memory;
size_t s_end = 0;
size_t s_allowedCommits = NEVER;
bool s_hasFailed = false;

} // namespace

namespace ReplacedMemory {

void reset() noexcept {
    s_end = 0;
    stopFailing();
}

void failAfter(const size_t allowedCommits) noexcept {
    s_allowedCommits = allowedCommits;
    s_hasFailed = false;
}

bool stopFailing() noexcept {
    s_allowedCommits = NEVER;
    return s_hasFailed;
}

} // namespace ReplacedMemory

namespace melnar::VirtualMemory {

void* reserve(const size_t numberOfBytes) noexcept {
    if (numberOfBytes > CAPACITY - s_end) {
        errno = ENOMEM;
        return nullptr;
    }
    void* const begin = s_memory.data() + s_end;
    s_end += numberOfBytes;
    std::memset(begin, ReplacedMemory::GARBAGE, std::min(numberOfBytes, FILLED));
    return begin;
}

bool commit(void* const begin, const size_t numberOfBytes) noexcept {
    if (s_allowedCommits != NEVER && s_allowedCommits-- == 0) {
        s_hasFailed = true;
        errno = ENOMEM;
        return false;
    }
    // The size is not constant, so this is a call, which ThreadSanitizer sees as a write of the calling thread.
    std::memset(begin, 0, numberOfBytes);
    return true;
}

void decommit(void* const begin, const size_t numberOfBytes) noexcept {
    std::memset(begin, ReplacedMemory::GARBAGE, numberOfBytes);
}

void release(void* const begin, const size_t numberOfBytes) noexcept {
    std::memset(begin, ReplacedMemory::GARBAGE, std::min(numberOfBytes, FILLED));
}

} // namespace melnar::VirtualMemory

size_t getVMPageSize() noexcept {
    return PAGE_SIZE;
}
