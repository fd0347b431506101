#pragma once

#include "Engine/core/data-store/dictionary/CompactionEntry.h"
#include "Engine/core/platform/system/MemoryRegion.h"

#include <cstddef>

/// The records of a compaction. The dictionary owns them. It makes room for every resource before the datatypes append
/// their records, sets the final chunk offset in each, and sorts them by datatype ID before the datatypes finish.
struct DictionaryCompactionState {
    /// Makes a state without room for records.
    explicit DictionaryCompactionState(MemoryManager& memoryManager) noexcept
        : m_entries(memoryManager), m_numberOfEntries(0) {}

    MemoryRegion<CompactionEntry> m_entries; ///< the records, one for each resource that survives
    size_t m_numberOfEntries;                ///< how many there are
};
