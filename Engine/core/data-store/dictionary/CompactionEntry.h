#pragma once

#include <cstdint>

/// The record of one surviving resource in a compaction.
struct CompactionEntry {
    // A plain record, whose fields have no prefix.
    // NOLINTBEGIN(readability-identifier-naming)
    uint64_t resourceID; // after the compaction
    uint8_t datatypeID;
    bool dictionaryFlag; // for the dictionary; datatypes write false and do not read it
    uint64_t dataOffset; // of the data chunk in the data pool; final before datatypes finish the compaction
    uint64_t dataSize;   // of the whole chunk, including the size header, in bytes
    // NOLINTEND(readability-identifier-naming)
};
