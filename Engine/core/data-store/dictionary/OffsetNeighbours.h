#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

/// What the offset of the next resource ID tells about a chunk: how large it is at most. That often saves a look at the
/// chunk, which lies anywhere, while the two offsets lie side by side.
///
/// INVARIANT  N1  Of a resource and the next ID with their offsets in one cache line, the latter's offset does not lie
///                inside the former's chunk, behind its first byte, whether there is a resource or not.
/// Resources keep it among themselves, as chunks do not overlap. But an ID without a resource may have an offset from a
/// former life of pool and tables; so whoever stores the offset of a resource clears the next ID's if it lies inside,
/// unless that ID is known never to have had one.
///
/// Threads  Any at once: offsets are read, stored and cleared atomically, relaxed, as they make nothing visible. The
///          next resource may be just being created: what is read of its offset then is what was there before, or where
///          its chunk is. What clears it is a compare-exchange, which never undoes what its creator has stored.
struct OffsetNeighbours {
    /// Where the chunk of a resource begins.
    static uint64_t getOffset(const uint64_t* const offsets, const uint64_t resourceID) noexcept {
        return __atomic_load_n(offsets + resourceID, __ATOMIC_RELAXED); // std::atomic_ref takes nothing const
    }

    static void setOffset(uint64_t* const offsets, const uint64_t resourceID, const uint64_t offset) noexcept {
        std::atomic_ref<uint64_t>(offsets[resourceID]).store(offset, std::memory_order_relaxed);
    }

    /// Whether the chunk of a resource may have this size: false only when the next one begins too near behind it.
    static bool mayHaveChunkSize(const uint64_t* const offsets, const uint64_t resourceID,
                                 const size_t chunkSize) noexcept {
        // Beyond the line it is not worth reading. Then a resource is its own neighbour, at a distance of nothing.
        const uint64_t distance =
            getOffset(offsets, resourceID + isNextInSameLine(resourceID)) - getOffset(offsets, resourceID);
        // Unsigned: nothing, or a chunk in front of this one, is far away, too.
        return distance - 1 >= chunkSize - 1;
    }

    /// Establishes N1 for a resource whose offset has been stored.
    static void clearNextInside(uint64_t* const offsets, const uint64_t resourceID, const size_t chunkSize) noexcept {
        if (mayHaveChunkSize(offsets, resourceID, chunkSize)) [[likely]]
            return;
        std::atomic_ref<uint64_t> next(offsets[resourceID + 1]);
        uint64_t nextOffset = next.load(std::memory_order_relaxed);
        if (nextOffset - getOffset(offsets, resourceID) < chunkSize)
            next.compare_exchange_strong(nextOffset, 0, std::memory_order_relaxed);
    }

private:
    static constexpr uint64_t OFFSETS_PER_CACHE_LINE = 64 / sizeof(uint64_t);

    static constexpr bool isNextInSameLine(const uint64_t resourceID) noexcept {
        return resourceID % OFFSETS_PER_CACHE_LINE != OFFSETS_PER_CACHE_LINE - 1;
    }
};
