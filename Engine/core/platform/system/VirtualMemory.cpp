#include "Engine/core/platform/system/VirtualMemory.h"

#include <cstring>
#include <sys/mman.h>
#include <unistd.h>

namespace melnar::VirtualMemory {

namespace {

constexpr size_t HUGE_PAGE_SIZE = size_t(1) << 21;

/// Only advice: what is random access in a large region then misses the address translation cache less often. The
/// system uses a huge page only where all of it is accessible, so no more memory is taken than was committed.
void adviseHugePages([[maybe_unused]] void* const begin, [[maybe_unused]] const size_t numberOfBytes) noexcept {
#if defined(MADV_HUGEPAGE)
    static_cast<void>(::madvise(begin, numberOfBytes, MADV_HUGEPAGE));
#endif
}

/// Maps fresh pages that fault on every access.
void* mapWithoutAccess(void* const address, const size_t numberOfBytes, const int flags) noexcept {
    return ::mmap(address, numberOfBytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | flags, -1, 0);
}

} // namespace

void* reserve(const size_t numberOfBytes) noexcept {
    void* const begin = mapWithoutAccess(nullptr, numberOfBytes, 0);
    if (begin == MAP_FAILED)
        return nullptr;
    if (numberOfBytes >= HUGE_PAGE_SIZE)
        adviseHugePages(begin, numberOfBytes);
    return begin;
}

bool commit(void* const begin, const size_t numberOfBytes) noexcept {
    return ::mprotect(begin, numberOfBytes, PROT_READ | PROT_WRITE) == 0;
}

void decommit(void* const begin, const size_t numberOfBytes) noexcept {
    // The contents go first, while the pages are certainly there: with their pages, or, when these must stay in memory,
    // by being overwritten.
    if (::madvise(begin, numberOfBytes, MADV_DONTNEED) != 0)
        std::memset(begin, 0, numberOfBytes);
    // Fresh pages over the old ones fault, and the system no longer counts them as committed. When it is too short of
    // memory to describe a mapping more, it may find out after it has removed the old one. Another thread may have got
    // the addresses by then, so nothing there may be touched. To ask for them without force reserves them again where
    // they are free, and gives other ones where they are not.
    if (mapWithoutAccess(begin, numberOfBytes, MAP_FIXED) == MAP_FAILED) {
        void* const reserved = mapWithoutAccess(begin, numberOfBytes, 0);
        if (reserved == MAP_FAILED)
            return;
        if (reserved != begin) {
            release(reserved, numberOfBytes);
            return;
        }
    }
    // The advice went with the old mapping. The pages may be a short end of a large reservation.
    adviseHugePages(begin, numberOfBytes);
}

void release(void* const begin, const size_t numberOfBytes) noexcept {
    ::munmap(begin, numberOfBytes);
}

} // namespace melnar::VirtualMemory

size_t getVMPageSize() noexcept {
    static const size_t s_pageSize = static_cast<size_t>(::sysconf(_SC_PAGESIZE));
    return s_pageSize;
}
