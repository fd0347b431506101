#include "Engine/core/platform/system/VirtualMemory.h"

#include <cstring>
#include <sys/mman.h>
#include <unistd.h>

namespace VirtualMemory {

namespace {

constexpr size_t HUGE_PAGE_SIZE = size_t(1) << 21;

/// Only advice: what is random access in a large region then misses the address translation cache less often. The
/// system uses a huge page only where all of it is accessible, so no more memory is taken than was committed.
void adviseHugePages([[maybe_unused]] void* const begin, [[maybe_unused]] const size_t numberOfBytes) noexcept {
#if defined(MADV_HUGEPAGE)
    static_cast<void>(::madvise(begin, numberOfBytes, MADV_HUGEPAGE));
#endif
}

} // namespace

void* reserve(const size_t numberOfBytes) noexcept {
    void* const begin = ::mmap(nullptr, numberOfBytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
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
    // Fresh pages over the old ones: the old contents go, and the next commit reads zeros.
    if (::mmap(begin, numberOfBytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) != MAP_FAILED) {
        // The advice went with the old mapping. The pages may be a short end of a large reservation.
        adviseHugePages(begin, numberOfBytes);
        return;
    }
    // The system may be too short of memory to describe a mapping more. Then the contents go at least: with their
    // pages, or, when these must stay in memory, by being overwritten.
    if (::madvise(begin, numberOfBytes, MADV_DONTNEED) != 0)
        std::memset(begin, 0, numberOfBytes);
    static_cast<void>(::mprotect(begin, numberOfBytes, PROT_NONE));
}

void release(void* const begin, const size_t numberOfBytes) noexcept {
    ::munmap(begin, numberOfBytes);
}

} // namespace VirtualMemory

size_t getVMPageSize() noexcept {
    static const size_t s_pageSize = static_cast<size_t>(::sysconf(_SC_PAGESIZE));
    return s_pageSize;
}
