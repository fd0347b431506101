#pragma once

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"

#include <array>
#include <cstdint>

/// The terms of a dictionary without withdrawn ones, in figures.
struct DictionaryContents {
    /// Those of a datatype.
    struct Terms {
        uint64_t m_number = 0;
        uint64_t m_sharedTexts = 0; // that several of them begin or end with
        uint64_t m_sharedTextBytes = 0;
    };

    std::array<Terms, NUMBER_OF_DATATYPE_IDS> m_terms{}; // by datatype ID
    uint64_t m_chunkBytes = 0;                           // of all, as they lie in the data pool
};

/// What a dictionary with narrow buckets and fingerprints takes.
struct DictionarySize {
    uint64_t m_memoryBytes;
    uint64_t m_fileBytes;
};

/// Predicts the size of a dictionary that has just been filled. What several threads leave unused, some ten KiB each, is
/// left out.
DictionarySize predictDictionarySize(const DictionaryContents& contents);
