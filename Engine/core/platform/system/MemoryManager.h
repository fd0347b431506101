#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <atomic>
#include <cstddef>

/// Keeps one store within its memory limit: every committed page is charged here before it is committed.
///
/// Units    Bytes.
/// Threads  Any operation, any threads, any time. The counter orders nothing but itself, so relaxed accesses do.
/// Errors   allocate throws MemoryExhaustedException and charges nothing.
class MemoryManager : private Unmovable {
public:
    /// `reservedBytes` is the limit; nothing is set aside or touched.
    explicit MemoryManager(size_t reservedBytes) noexcept;

    /// Charges `bytes`, or throws when fewer are free.
    void allocate(size_t bytes);

    /// Gives back `bytes` that were charged before.
    void deallocate(const size_t bytes) noexcept { m_freeBytes.fetch_add(bytes, std::memory_order_relaxed); }

    size_t getReservedBytes() const noexcept { return m_reservedBytes; }
    size_t getFreeBytes() const noexcept { return m_freeBytes.load(std::memory_order_relaxed); }

private:
    const size_t m_reservedBytes;
    std::atomic<size_t> m_freeBytes;
};
