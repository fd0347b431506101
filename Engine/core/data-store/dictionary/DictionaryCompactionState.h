#pragma once

#include "Engine/core/data-store/dictionary/CompactionEntry.h"
#include "Engine/core/platform/system/MemoryRegion.h"

#include <cstddef>

/// The records of a compaction. The dictionary owns them. It makes room for every resource before the datatypes append
/// their records, sets the final chunk offset in each, and sorts them by datatype ID before the datatypes finish.
struct DictionaryCompactionState {
    explicit DictionaryCompactionState(MemoryManager& memoryManager) noexcept
        : m_entries(memoryManager), m_numberOfEntries(0) {}

    MemoryRegion<CompactionEntry> m_entries;
    size_t m_numberOfEntries;
};
