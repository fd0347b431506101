#include "Engine/core/platform/system/MemoryManager.h"

#include "Engine/core/platform/MemoryExhaustedException.h"

namespace {

constexpr const char* const SOURCE_FILE = "Engine/core/platform/system/MemoryManager";
constexpr long LINE_OUT_OF_MEMORY = 73;

} // namespace

MemoryManager::MemoryManager(const size_t reservedBytes) noexcept
    : m_reservedBytes(reservedBytes), m_freeBytes(reservedBytes) {}

void MemoryManager::allocate(const size_t bytes) {
    size_t freeBytes = m_freeBytes.load(std::memory_order_relaxed);
    do {
        if (bytes > freeBytes)
            throw MemoryExhaustedException(SOURCE_FILE, LINE_OUT_OF_MEMORY, MelnarException::NO_CAUSES,
                                           "The Melnar instance has run out of memory.\n[Extended information: ",
                                           m_reservedBytes, " bytes were reserved for the system, of which ", freeBytes,
                                           " were free when an attempt to allocate ", bytes, " bytes was made.]");
    } while (!m_freeBytes.compare_exchange_weak(freeBytes, freeBytes - bytes, std::memory_order_relaxed,
                                                std::memory_order_relaxed));
}
