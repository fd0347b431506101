#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <vector>

/// The memory that everything under measurement lives in: one range of address space whose pages, once touched, stay.
///
/// A page that is touched for the first time costs 0.3 to 8 microseconds, mostly the system's, which would drown what
/// is to be measured. So the pages that one run has touched are kept, zeroed between runs and outside of all timing,
/// and given to the next run: memory is warm. Everybody gets it from here: the maps through PoolAllocator and
/// TextArena, the dictionary in place of its own reservations (see WarmVirtualMemory.cpp). The lowest addresses are
/// given out first, so that one run touches what another has touched before. What is cold is measured with a pool that
/// gives its pages back to the system instead, those of large blocks at once, as malloc does.
///
/// Units    Bytes; blocks are whole pages.
/// Threads  Any threads at once. configure and reset: alone.
/// Errors   std::bad_alloc when the range is used up or not to be had.
class PagePool : private Unmovable {
public:
    /// The only one: allocators that containers make for themselves must find it.
    static PagePool& get();

    /// Decides whether pages stay from run to run, and whether this process may use huge ones. Called before anything
    /// is taken from the pool.
    void configure(bool isWarm, bool usesHugePages);

    bool isWarm() const noexcept { return m_isWarm; }

    /// Address space that reads as zero. It counts as used only once use() says so.
    void* reserve(size_t numberOfBytes);

    /// Tells that a part of a reservation is written to from now on; a part is told once.
    void use(void* begin, size_t numberOfBytes);

    /// A block all of which is used.
    void* allocate(size_t numberOfBytes);

    void free(void* block) noexcept;

    /// Ends a run: takes all blocks back and makes what was written to zero again.
    void reset();

    /// Counts the runs. Who caches a block over the end of a run looks here.
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
    std::vector<bool> m_isWritten; // for each huge page whether this run has written to it
};
