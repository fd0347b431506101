#pragma once

#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/data-store/dictionary/BatchFailure.h"
#include "Engine/core/data-store/sharded/ShardLayout.h"
#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/Unmovable.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace melnar {

/// The entries of a batch, sorted by their shards, so that each shard gets its own as one batch. The entries of a shard
/// keep their order.
///
/// A batch that is filled again with no more entries than before allocates nothing.
///
/// Ownership  Owns copies of the entries, 50 bytes each; the texts are those of the batch.
/// Threads    One at a time; parts of different shards: any threads concurrently.
/// Errors     std::bad_alloc; after that, thrown by assignTerms or assignIDs, all parts are empty.
class MELNAR_EXPORT ShardedBatch : private Unmovable {
public:
    /// Takes entries whose IDs are wanted: each entry goes to the shard of its term.
    void assignTerms(std::span<const BatchEntry> entries);

    /// Takes entries whose terms are wanted: each entry goes to the shard of its ID, and has its local ID there.
    /// Entries with ID 0 go to no shard.
    void assignIDs(std::span<const BatchEntry> entries);

    /// Returns the entries of a shard, with local IDs.
    std::span<BatchEntry> getPart(const uint32_t shard) noexcept {
        return {m_entries.data() + m_begins[shard], m_begins[shard + 1] - m_begins[shard]};
    }

    /// Returns the index among the assigned entries of an entry of a part.
    size_t getIndex(const uint32_t shard, const size_t number) const noexcept {
        return m_indexes[m_begins[shard] + number];
    }

    /// Copies the results of a part to the assigned entries, with global IDs.
    void copyAnswers(uint32_t shard, std::span<BatchEntry> entries) const noexcept;

    /// Appends the failures of a part; their indexes become those of the assigned entries.
    void appendFailures(uint32_t shard, std::span<BatchFailure> ofPart, std::vector<BatchFailure>& failures) const;

private:
    template<class GetShard>
    void sort(std::span<const BatchEntry> entries, const GetShard& getShard);

    static constexpr uint32_t NO_SHARD = ShardLayout::NUMBER_OF_SHARDS;

    std::vector<BatchEntry> m_entries;
    std::vector<size_t> m_indexes;  // of the entries among the assigned ones
    std::vector<uint16_t> m_shards; // of the assigned entries
    std::array<size_t, ShardLayout::NUMBER_OF_SHARDS + 2> m_begins{};
};

} // namespace melnar
