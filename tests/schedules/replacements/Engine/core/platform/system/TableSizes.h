#pragma once

#include <cstddef>
#include <cstdint>

/// Replaces the engine's TableSizes: a dozen insertions fill a table, and it is resized in two chunks.
namespace melnar::TableSizes {

inline constexpr size_t NUMBER_OF_SLOTS = 4;
inline constexpr size_t MINIMUM_NUMBER_OF_BUCKETS = 16;
inline constexpr uint32_t INSERTION_QUOTA_BATCH = 2;
inline constexpr size_t RESIZE_CHUNK_SIZE = 8;

} // namespace melnar::TableSizes
