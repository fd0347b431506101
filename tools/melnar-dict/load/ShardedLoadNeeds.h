#pragma once

#include "tools/melnar-dict/load/LoadEstimate.h"
#include "tools/melnar-dict/load/SpillFile.h"

#include "Engine/core/data-store/sharded/ShardManifest.h"

#include <cstddef>
#include <cstdint>

/// The memory and disk space that a load of shards needs, in bytes.
///
/// Threads  Any threads at any time.
namespace ShardedLoadNeeds {

/// The buffers of spilled terms and of their IDs, for writing and then for reading.
inline constexpr uint64_t BYTES_OF_SPILL = ShardLayout::NUMBER_OF_SHARDS * 3 * SpillFile::BUFFER_SIZE;

/// Per thread: the terms of a block, which is larger than that of other loads, and a copy of them, sorted by shards.
inline constexpr uint64_t BYTES_OF_THREAD = uint64_t(24) << 20;

/// Returns the part of the shards' limit that they may use before terms are spilled. The rest is for their growth after
/// the last check, and for the copies that are saved.
size_t getLargestMemory(size_t limit) noexcept;

/// Returns the estimated memory of all shards, whether a manifest names them or not, if all are in memory to grow.
uint64_t predictMemory(const ShardManifest& manifest) noexcept;

/// Returns how many of the threads may resolve the spilled terms of a shard concurrently: the shards, with what terms
/// of this size add to the largest of them, and their copies fit into the limit together.
size_t getNumberOfResolvers(size_t numberOfThreads, uint64_t bytesOfLargestShard, size_t limit) noexcept;

/// Returns the maximum space on the disk until the load is done, in addition to the current contents of the folder: new
/// shards, rows of so many columns (0 for no rows), and spilled data if the shards are full, or become full.
uint64_t predictDiskBytes(const LoadEstimate& estimate, const ShardManifest& manifest, size_t numberOfColumns,
                          bool areFull, size_t limit) noexcept;

} // namespace ShardedLoadNeeds
