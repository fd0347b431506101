#include "Engine/core/data-store/dictionary/DictionaryCompactionState.h"

#include "Engine/core/data-store/dictionary/DataPool.h"
#include "Engine/core/platform/MelnarException.h"

#include <cstdint>
#include <cstring>
#include <numeric>
#include <span>
#include <vector>

namespace {

constexpr const char* const SOURCE_FILE = "Engine/core/data-store/dictionary/DictionaryCompactionState";
constexpr long LINE_NOT_DENSE = 24;

} // namespace

void DictionaryCompactionState::copyChunks(const DataPool& from, DataPool& to) {
    const std::span<CompactionEntry> entries(m_entries.getData(), m_numberOfEntries);
    std::vector<uint64_t> dataOffsets(m_numberOfEntries + 2); // by new ID; last, the size of the pool
    for (const CompactionEntry& entry : entries) {
        if (entry.resourceID == 0 || entry.resourceID > m_numberOfEntries)
            throw MelnarException(FailureKind::MISUSE, SOURCE_FILE, LINE_NOT_DENSE, MelnarException::NO_CAUSES,
                                  "A compaction has ", m_numberOfEntries, " records, and one of them is for resource ",
                                  entry.resourceID, ".");
        dataOffsets[entry.resourceID] = entry.dataSize;
    }
    std::exclusive_scan(dataOffsets.begin(), dataOffsets.end(), dataOffsets.begin(), uint64_t(0));
    to.initialize(from.getCapacity(), dataOffsets.back());
    for (CompactionEntry& entry : entries) {
        const uint64_t dataOffset = dataOffsets[entry.resourceID];
        std::memcpy(to.getData() + dataOffset, from.getData() + entry.dataOffset, entry.dataSize);
        entry.dataOffset = dataOffset;
    }
}
