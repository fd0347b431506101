#pragma once

#include <cstdint>

/// The literals of a dictionary without withdrawn ones, in figures.
struct DictionaryContents {
    uint64_t m_strings = 0;
    uint64_t m_plainLiterals = 0;
    uint64_t m_chunkBytes = 0; // of all, as they lie in the data pool
};

/// What a dictionary with narrow buckets and fingerprints takes.
struct DictionarySize {
    uint64_t m_memoryBytes;
    uint64_t m_fileBytes;
};

/// Predicts the size of a dictionary that has just been filled. What several threads leave unused, some ten KiB each, is
/// left out.
DictionarySize predictDictionarySize(const DictionaryContents& contents);
