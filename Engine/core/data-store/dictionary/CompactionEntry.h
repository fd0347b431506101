#pragma once

#include <cstdint>

/// What a compaction knows of one surviving resource.
struct CompactionEntry {
    // A plain record, whose fields bear no prefix.
    // NOLINTBEGIN(readability-identifier-naming)
    uint64_t resourceID; // after the compaction
    uint8_t datatypeID;
    bool dictionaryFlag; // the dictionary's own; datatypes write false and do not read it
    uint64_t dataOffset; // of the data chunk in the data pool; final when datatypes finish the compaction
    uint64_t dataSize;   // of the whole chunk, size header included, in bytes
    // NOLINTEND(readability-identifier-naming)
};
