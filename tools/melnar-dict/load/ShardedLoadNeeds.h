#pragma once

#include "tools/melnar-dict/load/LoadEstimate.h"
#include "tools/melnar-dict/load/SpillFile.h"

#include "Engine/core/data-store/sharded/ShardManifest.h"

#include <cstddef>
#include <cstdint>

/// What a load of shards needs of memory and of the disk, in bytes.
///
/// Threads  Any threads at any time.
namespace ShardedLoadNeeds {

/// The buffers of what is put aside, of terms and of their IDs, to be written and then read.
inline constexpr uint64_t BYTES_OF_SPILL = ShardLayout::NUMBER_OF_SHARDS * 3 * SpillFile::BUFFER_SIZE;

/// Of each thread: the terms of a block, which is larger than that of other loads, and the same once more, sorted by shards.
inline constexpr uint64_t BYTES_OF_THREAD = uint64_t(24) << 20;

/// Of the shards' limit, what they may take before terms are put aside. The rest is for their growth after the last look at
/// it, and for the copies that are saved.
size_t getLargestMemory(size_t limit) noexcept;

/// Probably the memory of all shards that a manifest names and of those that it does not, when all are in memory to grow.
uint64_t predictMemory(const ShardManifest& manifest) noexcept;

/// How many of the threads may resolve what was put aside of a shard at a time: the shards, with what this size of terms
/// adds to the largest of them, and their copies fit into the limit together.
size_t getNumberOfResolvers(size_t numberOfThreads, uint64_t bytesOfLargestShard, size_t limit) noexcept;

/// What there will be on the disk at most until the load is done, beside what the folder holds now: new shards, rows of so
/// many columns, which are none if they are not wanted, and what is put aside if the shards are full, or become it.
uint64_t predictDiskBytes(const LoadEstimate& estimate, const ShardManifest& manifest, size_t numberOfColumns,
                          bool areFull, size_t limit) noexcept;

} // namespace ShardedLoadNeeds
