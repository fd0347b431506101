#include "tools/melnar-dict/load/ShardedLoadNeeds.h"

#include "tools/melnar-dict/pieces/EngineTerm.h"
#include "tools/melnar-dict/rows/RowLayout.h"

#include <algorithm>

namespace {

// Of a shard in memory, even if it is empty: tables, and the start of a data pool.
constexpr uint64_t BYTES_OF_EMPTY_SHARD = uint64_t(80) << 10;

// What the first term that is not a string adds to it.
constexpr uint64_t BYTES_OF_OTHER_TERMS = uint64_t(240) << 10;

} // namespace

size_t ShardedLoadNeeds::getLargestMemory(const size_t limit) noexcept {
    return limit - std::max(limit / 8, std::min(limit / 2, size_t(32) << 20));
}

uint64_t ShardedLoadNeeds::predictMemory(const ShardManifest& manifest) noexcept {
    uint64_t bytes = 0;
    for (const ShardManifest::Shard& shard : manifest.m_shards) {
        const bool hasOtherTerms =
            std::ranges::any_of(shard.m_terms, [](const auto& terms) { return !isOfStrings(terms.first); });
        bytes += BYTES_OF_EMPTY_SHARD + (hasOtherTerms ? BYTES_OF_OTHER_TERMS : 0) + shard.m_fileBytes +
                 shard.m_fileBytes / 4; // in memory there are fingerprints, too
    }
    return bytes;
}

size_t ShardedLoadNeeds::getNumberOfResolvers(const size_t numberOfThreads, const uint64_t bytesOfLargestShard,
                                              const size_t limit) noexcept {
    return std::clamp<size_t>(limit / (2 * std::max<uint64_t>(bytesOfLargestShard, 1)), 1, numberOfThreads);
}

uint64_t ShardedLoadNeeds::predictDiskBytes(const LoadEstimate& estimate, const ShardManifest& manifest,
                                            const size_t numberOfColumns, const bool areFull,
                                            const size_t limit) noexcept {
    uint64_t bytes = estimate.m_size.m_fileBytes + estimate.m_counts.m_statements * numberOfColumns * RowLayout::WIDE;
    for (const ShardManifest::Shard& shard : manifest.m_shards)
        bytes += shard.m_fileBytes; // which are written again with new terms
    if (areFull || estimate.m_size.m_memoryBytes > getLargestMemory(limit))
        bytes += estimate.m_spillBytes.value_or(0) + estimate.m_size.m_fileBytes; // shards are saved again before that
    return bytes;
}
