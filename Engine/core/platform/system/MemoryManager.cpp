#include "Engine/core/platform/system/MemoryManager.h"

#include <mutex>

using namespace melnar;

namespace {

constexpr const char* const SOURCE_FILE = "Engine/core/platform/system/MemoryManager";
constexpr long LINE_OUT_OF_MEMORY = 73;

} // namespace

MemoryManager::MemoryManager(const size_t reservedBytes, MemoryManager* const shared) noexcept
    : m_reservedBytes(reservedBytes), m_freeBytes(reservedBytes), m_shared(shared),
      m_outermost(shared == nullptr ? *this : shared->m_outermost), m_numberOfReclaims(0), m_numberOfRefusals(0),
      m_firstReclaimable(nullptr) {}

/// Charges the shared limit first. So the bytes charged here never exceed those charged there. If no store's own limit
/// is lower, an allocation fails only if there is no memory, not because another thread temporarily asks for too much.
void MemoryManager::allocate(const size_t bytes) {
    if (m_shared != nullptr)
        m_shared->allocate(bytes);
    size_t freeBytes = m_freeBytes.load(std::memory_order_relaxed);
    do {
        if (bytes > freeBytes) {
            if (m_shared != nullptr)
                m_shared->deallocate(bytes);
            noteRefusal();
            throw MemoryExhaustedException(SOURCE_FILE, LINE_OUT_OF_MEMORY, MelnarException::NO_CAUSES,
                                           "The Melnar instance has run out of memory.\n[Extended information: ",
                                           m_reservedBytes, " bytes were reserved for the system, of which ", freeBytes,
                                           " were free when an attempt to allocate ", bytes, " bytes was made.]");
        }
    } while (!m_freeBytes.compare_exchange_weak(freeBytes, freeBytes - bytes, std::memory_order_relaxed,
                                                std::memory_order_relaxed));
}

void MemoryManager::addReclaimable(ReclaimableMemory& memory) noexcept {
    const std::lock_guard lock(m_outermost.m_reclaimMutex);
    memory.m_next = m_outermost.m_firstReclaimable;
    m_outermost.m_firstReclaimable = &memory;
}

void MemoryManager::removeReclaimable(ReclaimableMemory& memory) noexcept {
    const std::lock_guard lock(m_outermost.m_reclaimMutex);
    ReclaimableMemory** place = &m_outermost.m_firstReclaimable;
    while (*place != &memory)
        place = &(*place)->m_next;
    *place = memory.m_next;
}

/// Returns whether memory was released since the caller read the number of reclaims: by this call, by another one, or
/// by its owner.
bool MemoryManager::reclaim(const size_t knownNumberOfReclaims) noexcept {
    const std::lock_guard lock(m_reclaimMutex);
    const auto hasReclaimed = [&] {
        return m_numberOfReclaims.load(std::memory_order_acquire) != knownNumberOfReclaims; // E2
    };
    if (hasReclaimed())
        return true;
    bool isReclaimed = false;
    for (ReclaimableMemory* memory = m_firstReclaimable; memory != nullptr; memory = memory->m_next)
        isReclaimed = memory->reclaim() || isReclaimed;
    if (isReclaimed)
        noteReclaim();
    return hasReclaimed();
}
