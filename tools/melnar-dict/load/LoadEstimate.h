#pragma once

#include "tools/melnar-dict/load/DictionarySize.h"
#include "tools/melnar-dict/load/TermFigures.h"
#include "tools/melnar-dict/pieces/StatementCounts.h"

#include <cstdint>
#include <optional>
#include <string>

/// The estimated figures of a load.
struct LoadEstimate {
    uint64_t m_inputBytes = 0;   // of the files, decompressed
    uint64_t m_sampledBytes = 0; // of them that were read for their terms
    bool m_isWholeInput = true;  // whether it describes all of the input, and not only the part of a pipe that was read
    StatementCounts m_counts;
    DistinctCounts m_distinct{};
    uint64_t m_textBytes = 0;      // of the distinct string literals: text, and '@' and tag
    uint64_t m_otherTextBytes = 0; // of the other distinct terms: their lexical forms
    DictionarySize m_size{};
    uint64_t m_rowBytes = 0; // of the file with a row of IDs for each statement; none if only strings are loaded
    std::optional<uint64_t> m_spillBytes;     // of a load of shards: of spilled terms, at most
    std::optional<uint64_t> m_temporaryBytes; // of such a load: on the disk, in addition to file and rows, at most
    double m_seconds = 0;

    /// Returns a table with one line per figure.
    std::string toText() const;

    /// Returns one JSON object.
    std::string toJson() const;
};
