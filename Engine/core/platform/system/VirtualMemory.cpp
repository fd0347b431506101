#include "Engine/core/platform/system/VirtualMemory.h"

#include <cstring>
#include <sys/mman.h>
#include <unistd.h>

namespace melnar::VirtualMemory {

namespace {

constexpr size_t HUGE_PAGE_SIZE = size_t(1) << 21;

/// Only advice: with huge pages, random accesses to a large region miss the TLB less often. The system uses a huge page
/// only where all of it is accessible, so no more memory is taken than was committed.
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
    // Discard the contents first, while the pages certainly exist: with their pages or, if these must stay in memory,
    // by overwriting them.
    if (::madvise(begin, numberOfBytes, MADV_DONTNEED) != 0)
        std::memset(begin, 0, numberOfBytes);
    // New pages mapped over the old ones fault, and the system no longer counts them as committed. If it lacks memory
    // for another mapping, it may notice that only after it has removed the old one. Another thread may have got the
    // addresses by then, so nothing there may be touched. A request without MAP_FIXED reserves them again if they are
    // free, and returns other addresses if not.
    if (mapWithoutAccess(begin, numberOfBytes, MAP_FIXED) == MAP_FAILED) {
        void* const reserved = mapWithoutAccess(begin, numberOfBytes, 0);
        if (reserved == MAP_FAILED)
            return;
        if (reserved != begin) {
            release(reserved, numberOfBytes);
            return;
        }
    }
    // The advice was lost with the old mapping. The pages may be a short end of a large reservation.
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
