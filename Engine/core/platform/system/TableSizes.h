#pragma once

#include <cstddef>
#include <cstdint>

/// The sizes of hash tables. The tests that decide how threads interleave replace this header by one with smaller
/// sizes, so that a few insertions fill a table and a few steps resize it.
namespace melnar::TableSizes {

/// The number of slots of each table, and of thread indices.
inline constexpr size_t NUMBER_OF_SLOTS = 256;

/// The number of buckets of the smallest table.
inline constexpr size_t MINIMUM_NUMBER_OF_BUCKETS = 1024;

/// The number of insertions that a slot reserves together.
inline constexpr uint32_t INSERTION_QUOTA_BATCH = 100;

/// The number of buckets that a thread rehashes at a time.
inline constexpr size_t RESIZE_CHUNK_SIZE = 1024;

} // namespace melnar::TableSizes
