#pragma once

#include "tools/melnar-dict-mpi/PieceQueue.h"
#include "tools/melnar-dict-mpi/SlicePlan.h"
#include "tools/melnar-dict-mpi/TermCache.h"

#include "tools/melnar-dict/shell/MemoryLimit.h"

#include <cstddef>
#include <cstdint>

/// The memory that a rank needs in addition to its shards, in bytes.
namespace RankNeeds {

/// The pieces in memory, with their parsed contents; the data that two rounds send and receive; the cache; MPI.
inline constexpr uint64_t BYTES = PieceQueue::NUMBER_OF_PIECES * 3 * SlicePlan::SLICE_SIZE +
                                  16 * SlicePlan::SLICE_SIZE + TermCache::SIZE + (uint64_t(24) << 20);

/// Returns the limit of a rank; 0 stands for an equal share of the memory for the ranks of this machine.
inline uint64_t getLimit(const uint64_t limit, const uint32_t numberOfRanksOnThisMachine) {
    return limit == 0 ? MemoryLimit::getDefault() / numberOfRanksOnThisMachine : limit;
}

/// Applies the limit to this rank. Returns the limit of the dictionary.
inline size_t applyLimit(const uint64_t limit, const uint32_t numberOfRanksOnThisMachine) {
    return MemoryLimit::apply(getLimit(limit, numberOfRanksOnThisMachine), 1, MemoryLimit::BYTES_OF_THREAD_WITH_TERMS,
                              BYTES);
}

} // namespace RankNeeds
