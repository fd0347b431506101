#include "Engine/core/data-store/dictionary/DictionaryCompactionState.h"

#include "Engine/core/data-store/dictionary/DataPool.h"

#include <cstdint>
#include <cstring>
#include <numeric>
#include <span>
#include <vector>

void DictionaryCompactionState::copyChunks(const DataPool& from, DataPool& to) {
    const std::span<CompactionEntry> entries(m_entries.getData(), m_numberOfEntries);
    std::vector<uint64_t> dataOffsets(m_numberOfEntries + 2); // by new ID; last, the size of the pool
    for (const CompactionEntry& entry : entries)
        dataOffsets[entry.resourceID] = entry.dataSize;
    std::exclusive_scan(dataOffsets.begin(), dataOffsets.end(), dataOffsets.begin(), uint64_t(0));
    to.initialize(from.getCapacity(), dataOffsets.back());
    for (CompactionEntry& entry : entries) {
        const uint64_t dataOffset = dataOffsets[entry.resourceID];
        std::memcpy(to.getData() + dataOffset, from.getData() + entry.dataOffset, entry.dataSize);
        entry.dataOffset = dataOffset;
    }
}
