#include "Engine/core/data-store/sharded/ShardedBatch.h"

#include <utility>

namespace melnar {

/// A counting sort; entries without a shard come last.
template<class GetShard>
void ShardedBatch::sort(const std::span<const BatchEntry> entries, const GetShard& getShard) {
    m_begins.fill(0); // so that all parts are empty if there is no memory for the entries
    m_entries.resize(entries.size());
    m_indexes.resize(entries.size());
    m_shards.resize(entries.size());
    for (size_t index = 0; index < entries.size(); ++index) {
        m_shards[index] = static_cast<uint16_t>(getShard(entries[index]));
        ++m_begins[m_shards[index]];
    }
    size_t end = 0;
    for (size_t& begin : m_begins)
        end += std::exchange(begin, end);
    std::array<size_t, ShardLayout::NUMBER_OF_SHARDS + 2> places = m_begins;
    for (size_t index = 0; index < entries.size(); ++index) {
        const size_t place = places[m_shards[index]]++;
        m_entries[place] = entries[index];
        m_indexes[place] = index;
    }
}

void ShardedBatch::assignTerms(const std::span<const BatchEntry> entries) {
    sort(entries,
         [](const BatchEntry& entry) { return ShardLayout::getShard(entry.m_lexicalForm, entry.m_datatypeID); });
}

void ShardedBatch::assignIDs(const std::span<const BatchEntry> entries) {
    sort(entries, [](const BatchEntry& entry) {
        return entry.m_resourceID == ShardLayout::NO_RESOURCE ? NO_SHARD : ShardLayout::getShard(entry.m_resourceID);
    });
    for (BatchEntry& entry : m_entries)
        entry.m_resourceID = ShardLayout::toLocal(entry.m_resourceID);
}

void ShardedBatch::copyAnswers(const uint32_t shard, const std::span<BatchEntry> entries) const noexcept {
    for (size_t place = m_begins[shard]; place < m_begins[shard + 1]; ++place) {
        BatchEntry& entry = entries[m_indexes[place]];
        entry = m_entries[place];
        entry.m_resourceID = ShardLayout::toGlobal(entry.m_resourceID, shard);
    }
}

void ShardedBatch::appendFailures(const uint32_t shard, const std::span<BatchFailure> ofPart,
                                  std::vector<BatchFailure>& failures) const {
    for (BatchFailure& failure : ofPart) {
        failure.m_entryIndex = m_indexes[m_begins[shard] + failure.m_entryIndex];
        failures.push_back(std::move(failure));
    }
}

} // namespace melnar
