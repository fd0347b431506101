#pragma once

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"

#include <array>
#include <cstdint>

/// The contents of a dictionary without withdrawn terms, in figures.
struct DictionaryContents {
    /// The terms of a datatype.
    struct Terms {
        uint64_t m_number = 0;
        uint64_t m_sharedTexts = 0; // beginnings or ends that several of them share
        uint64_t m_sharedTextBytes = 0;
    };

    std::array<Terms, NUMBER_OF_DATATYPE_IDS> m_terms{}; // by datatype ID
    uint64_t m_chunkBytes = 0;                           // of all, as in the data pool
};

/// The size of a dictionary with narrow buckets and fingerprints.
struct DictionarySize {
    uint64_t m_memoryBytes;
    uint64_t m_fileBytes;
};

/// Predicts the size of a dictionary that has just been filled. The space that several threads leave unused, some ten
/// KiB each, is ignored.
DictionarySize predictDictionarySize(const DictionaryContents& contents);
