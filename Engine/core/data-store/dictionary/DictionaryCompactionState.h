#pragma once

#include "Engine/core/data-store/dictionary/CompactionEntry.h"
#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/system/MemoryRegion.h"

#include <cstddef>

class DataPool;

/// The records of a compaction. The dictionary owns them. It makes room for every resource before the datatypes append
/// their records, sets the final chunk offset in each, and sorts them by datatype ID before the datatypes finish.
struct MELNAR_EXPORT DictionaryCompactionState {
    /// Makes a state without room for records.
    explicit DictionaryCompactionState(MemoryManager& memoryManager) noexcept
        : m_entries(memoryManager), m_numberOfEntries(0) {}

    /// Makes `to` a pool of the same capacity that contains exactly the chunks of all records, in the order of the new
    /// IDs. These must be 1 to the number of records, with one record for each. Afterwards the records have the offsets
    /// in this pool. Needs 8 bytes per record outside the memory limit while it runs. Throws MelnarException of kind
    /// MISUSE for other IDs. After a throw the records are unchanged.
    void copyChunks(const DataPool& from, DataPool& to);

    MemoryRegion<CompactionEntry> m_entries; ///< the records, one for each resource that survives
    size_t m_numberOfEntries;                ///< how many there are
};
