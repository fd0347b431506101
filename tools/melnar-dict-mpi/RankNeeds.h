#pragma once

#include "tools/melnar-dict-mpi/PieceQueue.h"
#include "tools/melnar-dict-mpi/SlicePlan.h"
#include "tools/melnar-dict-mpi/TermCache.h"

#include "tools/melnar-dict/shell/MemoryLimit.h"

#include <cstddef>
#include <cstdint>

/// What a rank needs of memory, in bytes, beside its shards.
namespace RankNeeds {

/// The pieces that go round, with what was parsed from each; what is sent and received in two rounds; the cache; MPI.
inline constexpr uint64_t BYTES = PieceQueue::NUMBER_OF_PIECES * 3 * SlicePlan::SLICE_SIZE +
                                  16 * SlicePlan::SLICE_SIZE + TermCache::SIZE + (uint64_t(24) << 20);

/// The limit of a rank, 0 standing for an equal share of what the ranks of this machine may have.
inline uint64_t getLimit(const uint64_t limit, const uint32_t numberOfRanksOnThisMachine) {
    return limit == 0 ? MemoryLimit::getDefault() / numberOfRanksOnThisMachine : limit;
}

/// Keeps this rank within it. Returns the limit of the dictionary.
inline size_t applyLimit(const uint64_t limit, const uint32_t numberOfRanksOnThisMachine) {
    return MemoryLimit::apply(getLimit(limit, numberOfRanksOnThisMachine), 1, MemoryLimit::BYTES_OF_THREAD_WITH_TERMS,
                              BYTES);
}

} // namespace RankNeeds
