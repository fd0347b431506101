#pragma once

#include "Engine/core/data-store/dictionary/DictionaryThreadContext.h"
#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/system/Atomic.h"
#include "Engine/core/platform/system/MemoryRegion.h"

#include <array>
#include <cstddef>
#include <cstdint>

/// The bytes of all resources. Many threads append chunks concurrently; chunks never move and are never freed
/// individually.
///
/// A thread with a DictionaryThreadContext takes its chunks from a private block of BLOCK_SIZE bytes. So threads
/// contend for the pool's end once per block, not once per chunk. The rest of a block that its thread leaves goes to
/// the next thread that needs one, so a thread context may exist for a single call. Some chunks are taken directly from
/// the pool's end: those of more than LARGEST_CHUNK_IN_BLOCK bytes, those taken without a thread context or with one of
/// another pool and, near the memory limit, those that still fit when a whole block does not.
///
/// Units      Offsets and sizes are bytes.
/// Ownership  Owns its memory; the memory manager must outlive it. Thread contexts must be destroyed before it.
/// Addresses  Chunks never move: getData() + offset stays valid until initialize, swapContents or destruction.
/// Threads    newDataChunk and the get functions: any threads concurrently; a thread context in one thread at a time.
///            The caller must publish the bytes of a chunk to other threads. initialize, swapContents: alone.
/// Errors     newDataChunk throws MelnarException when the capacity is used up, MemoryExhaustedException at the memory
///            limit, SystemCallException when the system refuses; nothing is taken then.
class MELNAR_EXPORT DataPool : private Unmovable {
public:
    /// How many bytes a thread's private block has.
    static constexpr size_t BLOCK_SIZE = size_t(1) << 16;

    /// A larger chunk could leave more than an eighth of a block unused.
    static constexpr size_t LARGEST_CHUNK_IN_BLOCK = BLOCK_SIZE / 8;

    /// Makes a pool that has no bytes until initialize.
    explicit DataPool(MemoryManager& memoryManager) noexcept;

    /// Makes a pool that can grow to `capacity` bytes. Its first `size` bytes are zero and already taken. Thread
    /// contexts lose their blocks of the old contents.
    void initialize(size_t capacity, size_t size = 0);

    /// Exchanges all bytes with another pool of the same memory manager. Thread contexts of both lose their blocks.
    void swapContents(DataPool& other) noexcept;

    /// Takes `chunkSize` bytes and returns their offset. The context may be null. A context of another pool counts as
    /// null: its generation never equals this pool's.
    uint64_t newDataChunk(DictionaryThreadContext* const threadContext, const size_t chunkSize) {
        if (threadContext == nullptr || threadContext->m_generation != m_generation ||
            chunkSize > LARGEST_CHUNK_IN_BLOCK || chunkSize > threadContext->m_blockEnd - threadContext->m_blockNext)
            return newDataChunkFromEnd(threadContext, chunkSize);
        const uint64_t offset = threadContext->m_blockNext;
        threadContext->m_blockNext += chunkSize;
        return offset;
    }

    /// Takes back the chunk that the same thread context got last. Nothing may refer to it, and no thread may have
    /// written to it, because the next thread that gets these bytes does not synchronise with this one.
    void returnDataChunk(DictionaryThreadContext* threadContext, uint64_t offset, size_t chunkSize) noexcept;

    ///@{
    /// Returns the first byte.
    uint8_t* getData() noexcept { return m_data; }
    const uint8_t* getData() const noexcept { return m_data; }
    ///@}

    /// Returns the offset at which the next block or large chunk will start. All bytes in use are below it.
    uint64_t getEnd() const noexcept { return m_end.load(std::memory_order_relaxed); }

    /// Returns how many bytes below the end belong to no chunk and to no thread's block: the ends of blocks that
    /// threads have returned.
    uint64_t getUnusedBytes() const noexcept { return m_unusedBytes.load(std::memory_order_relaxed); }

    /// Returns how many bytes the pool can grow to.
    size_t getCapacity() const noexcept { return m_bytes.getMaximumNumberOfItems(); }

    /// Returns the bytes of memory that the pool takes.
    size_t getCommittedBytes() const noexcept { return m_bytes.getCommittedBytes(); }

private:
    friend class DictionaryThreadContext;

    /// The number of rests of blocks that are kept for other threads. Each of them has room for every chunk of a block.
    static constexpr size_t NUMBER_OF_SPARES = 64;

    /// A spare is (begin << SPARE_SIZE_BITS | size), or 0 if there is none. Consecutive blocks are used as one, so a
    /// rest may exceed a block by up to the size of a chunk. In the rare case that it is even larger, it is not kept.
    static constexpr size_t SPARE_SIZE_BITS = 17;
    static_assert(BLOCK_SIZE + LARGEST_CHUNK_IN_BLOCK < size_t(1) << SPARE_SIZE_BITS);

    static uint64_t newGeneration() noexcept;

    uint64_t newDataChunkFromEnd(DictionaryThreadContext* threadContext, size_t chunkSize);
    uint64_t append(size_t numberOfBytes);
    bool giveBack(uint64_t begin, uint64_t end) noexcept;
    void giveBackBlock(uint64_t begin, uint64_t end) noexcept;
    uint64_t takeSpare() noexcept;

    // Both counters only count, so relaxed accesses suffice: a chunk becomes visible to other threads with the bucket
    // that refers to it, and the pages below the end are accessible before the end is moved past them.
    melnar::Atomic<uint64_t> m_end;
    melnar::Atomic<uint64_t> m_unusedBytes;
    uint8_t* m_data;
    MemoryRegion<uint8_t> m_bytes;

    // Relaxed, too: a thread that takes a spare gets bytes that no thread has written to.
    std::array<melnar::Atomic<uint64_t>, NUMBER_OF_SPARES> m_spares{};

    // Constant until all bytes are replaced, and unique in the process: a block is valid only if its thread context has
    // this generation.
    uint64_t m_generation;
};
