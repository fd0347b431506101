#include "Engine/core/platform/system/VirtualMemory.h"

#include <sys/mman.h>
#include <unistd.h>

namespace VirtualMemory {

void* reserve(const size_t numberOfBytes) noexcept {
    void* const begin = ::mmap(nullptr, numberOfBytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return begin == MAP_FAILED ? nullptr : begin;
}

bool commit(void* const begin, const size_t numberOfBytes) noexcept {
    return ::mprotect(begin, numberOfBytes, PROT_READ | PROT_WRITE) == 0;
}

void decommit(void* const begin, const size_t numberOfBytes) noexcept {
    // Fresh pages over the old ones: the old contents go, and the next commit reads zeros.
    static_cast<void>(::mmap(begin, numberOfBytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0));
}

void release(void* const begin, const size_t numberOfBytes) noexcept {
    ::munmap(begin, numberOfBytes);
}

} // namespace VirtualMemory

size_t getVMPageSize() noexcept {
    static const size_t s_pageSize = static_cast<size_t>(::sysconf(_SC_PAGESIZE));
    return s_pageSize;
}
