#pragma once

#include "benchmarks/pages/PagePool.h"

#include <cstddef>
#include <cstdint>

/// Allocates bytes one after the other from blocks that a thread takes from the page pool. The blocks are as large as
/// those that a thread of the dictionary takes from its data pool.
///
/// Ownership  The page pool takes back the blocks when it is reset; the arena detects that by the pool's generation.
/// Threads    Each has its own arena.
class ThreadArena {
public:
    static ThreadArena& getForTexts() noexcept {
        static thread_local ThreadArena s_arena;
        return s_arena;
    }

    static ThreadArena& getForNodes() noexcept {
        static thread_local ThreadArena s_arena;
        return s_arena;
    }

    /// The alignment must be a power of two.
    void* take(const size_t numberOfBytes, const size_t alignment) {
        if (m_generation != PagePool::get().getGeneration())
            m_next = m_end = 0;
        uintptr_t begin = (m_next + alignment - 1) & ~(alignment - 1);
        if (begin + numberOfBytes > m_end || m_next == 0)
            begin = takeElsewhere(numberOfBytes);
        else
            m_next = begin + numberOfBytes;
        return reinterpret_cast<void*>(begin); // NOLINT(performance-no-int-to-ptr)
    }

private:
    static constexpr size_t BLOCK_SIZE = size_t(1) << 16;
    static constexpr size_t LARGEST_IN_BLOCK = BLOCK_SIZE / 8;

    uintptr_t takeElsewhere(const size_t numberOfBytes) {
        if (numberOfBytes > LARGEST_IN_BLOCK)
            return reinterpret_cast<uintptr_t>(PagePool::get().allocate(numberOfBytes));
        const uintptr_t begin = reinterpret_cast<uintptr_t>(PagePool::get().allocate(BLOCK_SIZE));
        m_generation = PagePool::get().getGeneration();
        m_end = begin + BLOCK_SIZE;
        m_next = begin + numberOfBytes;
        return begin;
    }

    uint64_t m_generation = 0;
    uintptr_t m_next = 0;
    uintptr_t m_end = 0;
};
