#pragma once

#include "Engine/core/platform/system/MemoryManager.h"
#include "Engine/core/platform/system/ReclaimableMemory.h"

#include <cstddef>
#include <mutex>

/// Bytes that are charged to a memory manager until it asks for them. Any operation, any threads.
class ReclaimableBytes final : public melnar::ReclaimableMemory {
public:
    explicit ReclaimableBytes(MemoryManager& memoryManager)
        : m_memoryManager(memoryManager), m_bytes(0), m_numberOfReclaims(0) {}

    /// Charges bytes, in addition to those that are held. A concurrent reclaim finds all of them or none.
    void hold(const size_t bytes) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_memoryManager.allocate(bytes);
        m_bytes += bytes;
    }

    bool reclaim() noexcept override {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const bool isReclaimed = m_bytes != 0;
        m_memoryManager.deallocate(m_bytes);
        m_bytes = 0;
        ++m_numberOfReclaims;
        return isReclaimed;
    }

    size_t getBytes() const {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_bytes;
    }

    size_t getNumberOfReclaims() const {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_numberOfReclaims;
    }

private:
    MemoryManager& m_memoryManager;
    mutable std::mutex m_mutex;
    size_t m_bytes;            // protected by m_mutex
    size_t m_numberOfReclaims; // protected by m_mutex
};
