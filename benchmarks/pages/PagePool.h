#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <vector>

/// The memory of everything that is measured: one range of address space whose pages, once touched, stay.
///
/// The first touch of a page takes 0.3 to 8 microseconds, mostly in the system, which would hide what is to be
/// measured. So the pages that one run has touched are kept, zeroed between runs and outside of all timing, and given
/// to the next run: memory is warm. All objects take memory from here: the maps through PoolAllocator and TextArena,
/// the dictionary instead of its own reservations (see WarmVirtualMemory.cpp). The lowest addresses are given out
/// first, so that one run uses pages that another has touched before. Cold measurements use a pool that returns its
/// pages to the system instead, those of large blocks immediately, as malloc does.
///
/// Units    Bytes; blocks are whole pages.
/// Threads  Any threads concurrently. configure and reset: alone.
/// Errors   std::bad_alloc if the range is used up or cannot be reserved.
class PagePool : private Unmovable {
public:
    /// Returns the only pool: allocators that containers make themselves must find it.
    static PagePool& get();

    /// Decides whether pages stay between runs, and whether this process may use huge ones. Called before anything is
    /// taken from the pool.
    void configure(bool isWarm, bool usesHugePages);

    bool isWarm() const noexcept { return m_isWarm; }

    /// Returns address space that reads as zero. It counts as used only after a call of use().
    void* reserve(size_t numberOfBytes);

    /// Marks a part of a reservation as used before it is written. Called once for each part.
    void use(void* begin, size_t numberOfBytes);

    /// Returns a block that counts as used completely.
    void* allocate(size_t numberOfBytes);

    void free(void* block) noexcept;

    /// Ends a run: takes back all blocks and zeroes everything that was written.
    void reset();

    /// Returns the number of runs. Code that caches a block beyond the end of a run must check it.
    uint64_t getGeneration() const noexcept { return m_generation; }

    size_t getUsedBytes() const noexcept { return m_usedBytes; }

private:
    struct Block {
        size_t m_numberOfBytes;
        size_t m_usedBytes;
    };

    PagePool();
    ~PagePool() = default;

    void* takeLowestFit(size_t numberOfBytes);
    void noteUse(size_t begin, size_t numberOfBytes);
    void clear(size_t begin, size_t numberOfBytes);

    uint8_t* const m_range;
    bool m_isWarm = true;
    uint64_t m_generation = 1;
    size_t m_usedBytes = 0;
    std::mutex m_mutex;
    // By offset in the range.
    std::map<size_t, size_t> m_free;
    std::map<size_t, Block> m_blocks;
    std::vector<bool> m_isWritten; // whether this run has written to it, for each huge page
};
